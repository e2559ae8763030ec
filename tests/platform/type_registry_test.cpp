#include <gtest/gtest.h>

#include <sstream>

#include "platform/linux/mime_globs.h"
#include "platform/linux/user_dirs.h"

namespace tavrine {
namespace {

TEST(TypeRegistry, TakesExtensionsThatAPatternNamesAlone) {
  std::istringstream table(
      "# 50:a/b:*.comment\n50:text/plain:*.TXT\n50:a/b:*.C:cs\n50:a/b:*.tar.gz\n50:a/b:*.[1-9]\n50:a/b:*~\n"
      "50:a/b:makefile\n50:a/b\n\n50:a/b:*.\n50:a/b:*.so.[0-9]*\n50:a/b:*.c++");
  EXPECT_EQ(globExtensions(table), (std::set<std::string>{"txt", "c", "c++"}));
}

TEST(UserFolders, AreTheThreeOfTheirFile) {
  std::istringstream file(
      "# XDG_DESKTOP_DIR=\"$HOME/a\"\n  XDG_DESKTOP_DIR=\"$HOME/Mein \\\"Tisch\\\"/\"\nXDG_DOWNLOAD_DIR=\"/data/dl\"\n"
      "XDG_DOCUMENTS_DIR=\"relative\"\nXDG_MUSIC_DIR=\"$HOME/m\"\nXDG_DOCUMENTS_DIR=\"$HOME/unclosed\n"
      "XDG_DOCUMENTS_DIR=\"$HOMEx\"\n");
  EXPECT_EQ(namedUserFolders(file, "/home/me"), (std::vector<Path>{"/home/me/Mein \"Tisch\"", "/data/dl"}));
}

}  // namespace
}  // namespace tavrine
