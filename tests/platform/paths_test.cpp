#include "platform/paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

TEST(Paths, NamePartsFollowThePlatform) {
  struct Row {
    const char *path, *last, *name, *extension;
  };
  const Row rows[] = {{"/a/x.tar.gz", "x.tar.gz", "x.tar", "gz"},
                      {"/a/.bashrc", ".bashrc", ".bashrc", ""},
                      {"/a/.config.json", ".config.json", ".config", "json"},
                      {"/a/b.", "b.", "b.", ""},
                      {"/a/Dr. Who", "Dr. Who", "Dr. Who", ""},
                      {"/a/my notes.txt", "my notes.txt", "my notes", "txt"},
                      {"/a.d/plain", "plain", "plain", ""},
                      {"/a/Folder.app/", "Folder.app", "Folder", "app"},
                      {"/a/..", "..", "..", ""},
                      {"/", "/", "/", ""},
                      {"", "", "", ""},
                      {"/a/\xFF.t\xFE", "\xFF.t\xFE", "\xFF", "t\xFE"}};
  for (const Row& row : rows) {
    EXPECT_EQ(lastComponent(row.path), row.last) << row.path;
    EXPECT_EQ(nameWithoutExtension(row.path), row.name) << row.path;
    EXPECT_EQ(pathExtension(row.path), row.extension) << row.path;
  }
}

TEST(Paths, StandardisingLooksAtTheTextAlone) {
  EXPECT_EQ(standardizedPath("/a/./b//c/../d/"), "/a/b/d");
  EXPECT_EQ(standardizedPath("/../a"), "/a");
  EXPECT_EQ(standardizedPath("/"), "/");
}

/// target/sub, link → target, dangling → gone, loop → loop, and a regular file.
class PathsOnDisk : public testing::Test {
 protected:
  PathsOnDisk() {
    fs::create_directories(folder_ / "target/sub");
    fs::create_symlink("target/sub", folder_ / "link");
    fs::create_symlink("gone", folder_ / "dangling");
    fs::create_symlink("loop", folder_ / "loop");
    std::ofstream(folder_ / "file") << "x";
  }

  std::string at(const std::string& name) const { return (folder_ / name).string(); }

  const TemporaryFolder folder_;
};

TEST_F(PathsOnDisk, RealPathStandardisesBeforeItResolves) {
  EXPECT_EQ(realPath(at("link/../file")), at("file"));
  EXPECT_EQ(realPath(at("link/")), at("target/sub"));
  EXPECT_EQ(realPath(at("link/missing/deeper")), at("target/sub/missing/deeper"));
  EXPECT_EQ(realPath(at("dangling")), at("dangling"));
  EXPECT_EQ(realPath("/no/such/./place/../x"), "/no/such/x");
}

TEST_F(PathsOnDisk, CanonicalPathResolvesBeforeItStandardises) {
  EXPECT_EQ(canonicalPath(at("link/../sub")), at("target/sub"));
  EXPECT_EQ(canonicalPath(at("link/.")), at("target/sub"));
  EXPECT_EQ(canonicalPath(at("link/missing/../x")), at("target/sub/x"));
  EXPECT_EQ(canonicalPath(at("loop/x")), at("loop/x"));
  EXPECT_EQ(canonicalPath(at("file//x")), at("file/x"));
  EXPECT_EQ(canonicalPath("/"), "/");
}

TEST_F(PathsOnDisk, PathsTooLongToResolveStayAsWritten) {
  std::string deep = "link";
  for (int i = 0; i < 1000; ++i) deep += "/abcdefgh";
  EXPECT_EQ(canonicalPath(at(deep)), at("target/sub" + deep.substr(4)));
  std::string upAndDown = "link";
  for (int i = 0; i < 20'000; ++i) upAndDown += "/x/..";
  EXPECT_EQ(canonicalPath(at(upAndDown + "/missing")), at("target/sub/missing")) << "and in no time";
  EXPECT_EQ(canonicalPath(at("link/" + std::string(300, 'n'))), at("target/sub/" + std::string(300, 'n')));
}

}  // namespace
}  // namespace tavrine
