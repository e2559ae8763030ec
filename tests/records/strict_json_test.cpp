#include "kit/records/strict_json.h"

#include <gtest/gtest.h>

#include <limits>

namespace tavrine {
namespace {

std::string nested(size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

TEST(StrictJSON, RefusesWhatIsNotOneWellFormedValue) {
  const std::string texts[] = {"",
                               "{",
                               "{} {}",
                               "{}x",
                               "{\"a\":1,}",
                               "// c\n{}",
                               "\"\xFF\"",
                               "\"\\ud800\"",
                               "[1,2",
                               "{\"a\":1,\"a\":2}",
                               nested(33),
                               nested(1'000'000),
                               std::string(1'000'000, '['),
                               "NaN",
                               "01"};
  for (const std::string& text : texts) {
    EXPECT_THROW(strict_json::parse(text), UnreadableRecord) << text.substr(0, 20);
  }
  EXPECT_NO_THROW(strict_json::parse(nested(32)));
  EXPECT_NO_THROW(strict_json::parse(" {\"a\":{\"x\":1},\"b\":{\"x\":1}} \n")) << "one key in two objects";
}

TEST(StrictJSON, IntegersAreWrittenAsSuchAndFit64Bits) {
  EXPECT_EQ(strict_json::integer(strict_json::parse("9223372036854775807")), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(strict_json::integer(strict_json::parse("-9223372036854775808")), std::numeric_limits<int64_t>::min());
  for (const char* text : {"9223372036854775808", "18446744073709551616", "-9223372036854775809", "1.0", "1e3", "\"1\"",
                           "true", "null", "[1]"}) {
    EXPECT_THROW(strict_json::integer(strict_json::parse(text)), UnreadableRecord) << text;
  }
}

TEST(StrictJSON, MissingKeysAndWrongTypesAreFaults) {
  const auto record = strict_json::parse(R"({"a":"x","n":null,"l":["x",1]})");
  EXPECT_EQ(strict_json::text(strict_json::required(record, "a")), "x");
  EXPECT_EQ(strict_json::optional(record, "b"), nullptr);
  EXPECT_THROW(strict_json::required(record, "b"), UnreadableRecord);
  EXPECT_THROW(strict_json::text(strict_json::required(record, "n")), UnreadableRecord);
  EXPECT_THROW(strict_json::texts(strict_json::required(record, "l")), UnreadableRecord);
  EXPECT_THROW(strict_json::texts(strict_json::required(record, "a")), UnreadableRecord);
  EXPECT_THROW(strict_json::optional(strict_json::parse("[]"), "a"), UnreadableRecord);
}

}  // namespace
}  // namespace tavrine
