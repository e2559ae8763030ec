#include "platform/byte_count.h"

#include <gtest/gtest.h>

#include <limits>

namespace tavrine {
namespace {

TEST(ByteCount, ReadsAsThePlatformWritesIt) {
  const std::pair<int64_t, const char*> rows[] = {{0, "Zero KB"},
                                                  {1, "1 byte"},
                                                  {-1, "-1 byte"},
                                                  {999, "999 bytes"},
                                                  {1'000, "1 KB"},
                                                  {1'499, "1 KB"},
                                                  {1'500, "2 KB"},
                                                  {-1'500, "-2 KB"},
                                                  {999'499, "999 KB"},
                                                  {999'500, "1 MB"},
                                                  {1'049'999, "1 MB"},
                                                  {1'050'000, "1.1 MB"},
                                                  {10'000'000, "10 MB"},
                                                  {999'949'999, "999.9 MB"},
                                                  {999'950'000, "1 GB"},
                                                  {1'004'999'999, "1 GB"},
                                                  {1'005'000'000, "1.01 GB"},
                                                  {2'000'000'000'000, "2 TB"},
                                                  {999'995'000'000'000, "1 PB"},
                                                  {std::numeric_limits<int64_t>::max(), "9.22 EB"},
                                                  {std::numeric_limits<int64_t>::min(), "-9.22 EB"}};
  for (const auto& [bytes, text] : rows) EXPECT_EQ(byteCountText(bytes), text) << bytes;
}

}  // namespace
}  // namespace tavrine
