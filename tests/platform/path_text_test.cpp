#include "platform/path_text.h"

#include <gtest/gtest.h>

#include "platform/text.h"

namespace tavrine {
namespace {

TEST(PathText, EveryPathComesBackAndTextStaysText) {
  std::string allBytes;
  for (int byte = 1; byte < 256; ++byte) allBytes += static_cast<char>(byte);
  const std::string paths[] = {
      "",       "/Users/user/Grüße 😀.tavrlock", "/a\nb",         "/\xFF\xFE",    "/G\xFCte/\xC3\xA9", "/cut\xE2\x82",
      allBytes, "/\U00100080\U001000FF",        "/\xF4\x80\x82", "/\xED\xA0\x80"};
  for (const std::string& path : paths) {
    const std::string text = textFromPath(path);
    EXPECT_TRUE(isUtf8(text));
    EXPECT_EQ(pathFromText(text), path);
  }
  EXPECT_EQ(textFromPath("/Users/user/Grüße"), "/Users/user/Grüße");
}

TEST(PathText, NoTwoPathsShareAText) {
  EXPECT_EQ(textFromPath("\xFF"), "\U001000FF");
  EXPECT_NE(textFromPath("\U001000FF"), textFromPath("\xFF"));
}

}  // namespace
}  // namespace tavrine
