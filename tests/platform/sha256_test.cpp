#include "platform/sha256.h"

#include <gtest/gtest.h>

namespace tavrine {
namespace {

std::string digestOf(Sha256& sha256, const std::string& text, size_t chunk) {
  for (size_t start = 0; start < text.size(); start += chunk) {
    sha256.add(std::as_bytes(std::span(text).subspan(start, std::min(chunk, text.size() - start))));
  }
  return Sha256::hexadecimal(sha256.finish());
}

TEST(Sha256, GivesThePublishedDigestsOneAfterTheOther) {
  Sha256 sha256;
  for (const size_t chunk : {1, 63, 64, 1000000}) {
    EXPECT_EQ(digestOf(sha256, "", chunk), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(digestOf(sha256, "abc", chunk), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(digestOf(sha256, std::string(1000000, 'a'), chunk),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  }
}

}  // namespace
}  // namespace tavrine
