#include "kit/tools/file_walk.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "platform/linux/file_descriptor.h"
#include "tests/temporary_folder.h"
#include "tests/tools/restricted_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Entry = FileWalk::Entry;
using Next = FileWalk::Next;

class FileWalkTest : public testing::Test {
 protected:
  void makeFile(const fs::path& name, const std::string& content = "x") { std::ofstream(folder_ / name) << content; }
  void makeFolder(const fs::path& name) { fs::create_directories(folder_ / name); }

  /// Folders in folders, until the path to the last is longer than the system takes.
  void makeDeepTree() {
    const std::string name(250, 'd');
    FileDescriptor folder(::open(folder_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    for (int depth = 0; depth < 20; ++depth) {
      ASSERT_EQ(::mkdirat(folder.get(), name.c_str(), 0700), 0);
      folder = FileDescriptor(::openat(folder.get(), name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
  }

  std::vector<Entry> entries() const {
    std::vector<Entry> entries;
    FileWalk::walk(folder_.path(), [&entries](const Entry& entry) {
      entries.push_back(entry);
      return Next::descend;
    });
    return entries;
  }

  std::vector<std::string> sortedPaths(const Path& root) const {
    std::vector<std::string> paths = FileWalk::relativePaths(root);
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  /// What a walk of `root` fails with.
  static FileWalk::WalkError walkError(const Path& root) {
    try {
      (void)FileWalk::relativePaths(root);
    } catch (const FileWalk::WalkError& error) {
      return error;
    }
    return {"the walk did not fail", 0};
  }

  const TemporaryFolder folder_;
};

TEST_F(FileWalkTest, ShowsEverythingBelowTheRootOnce) {
  makeFolder("a/b");
  makeFile("a/b/c");
  makeFile("d");
  using Paths = std::vector<std::string>;
  const Paths all = {"a", "a/b", "a/b/c", "d"};
  EXPECT_EQ(sortedPaths(folder_.path()), all);
  EXPECT_EQ(sortedPaths(folder_.path().string() + "//"), all) << "slashes at the root's end change nothing";
  EXPECT_EQ(FileWalk::relativePaths(folder_ / "a"), (Paths{"b", "b/c"})) << "a folder comes before its contents";
  EXPECT_EQ(FileWalk::relativePaths(folder_ / "a/b/c"), Paths()) << "a file as root";
  makeFolder("e");
  EXPECT_EQ(FileWalk::relativePaths(folder_ / "e"), Paths());
}

TEST_F(FileWalkTest, WalksTheWholeSystemInItsOrderAndIntoMountedVolumes) {
  std::vector<std::string> names;
  bool sawMounted = false;
  FileWalk::walk("/", [&](const Entry& entry) {
    const bool isTop = entry.relativePath.find('/') == std::string::npos;
    if (isTop && !entry.problem) names.push_back(entry.relativePath);
    sawMounted |= entry.relativePath == "proc/self";
    return entry.relativePath == "proc" ? Next::descend : Next::skipDescendants;
  });
  std::vector<std::string> expected;
  for (const auto& entry : fs::directory_iterator("/")) expected.push_back(entry.path().filename());
  EXPECT_EQ(names, expected);
  EXPECT_TRUE(sawMounted);
}

TEST_F(FileWalkTest, GivesTheStatusOfTheItemItself) {
  makeFile("file", "twelve bytes");
  fs::create_hard_link(folder_ / "file", folder_ / "twin");
  ASSERT_EQ(::chmod((folder_ / "file").c_str(), 04751), 0);
  const timespec times[] = {{1, 2}, {1'234'567'890, 123'456'789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (folder_ / "file").c_str(), times, 0), 0);
  const auto found = entries();
  ASSERT_EQ(found.size(), 2u);
  struct stat status {};
  ASSERT_EQ(::stat((folder_ / "file").c_str(), &status), 0);
  const FileStatus expected = {FileType::regular,
                               04751,
                               12,
                               {1'234'567'890, 123'456'789},
                               {status.st_ctim.tv_sec, status.st_ctim.tv_nsec},
                               status.st_dev,
                               status.st_ino,
                               2,
                               ::getuid(),
                               status.st_gid};
  EXPECT_EQ(found[0].info, expected);
  EXPECT_EQ(found[1].info, expected);
}

TEST_F(FileWalkTest, LooksAtLinksAndOtherKindsWithoutOpeningThem) {
  makeFolder("folder/inside");
  fs::create_directory_symlink("folder", folder_ / "link");
  fs::create_symlink("gone", folder_ / "dangling");
  ASSERT_EQ(::mkfifo((folder_ / "fifo").c_str(), 0600), 0);
  std::map<std::string, std::pair<FileType, bool>> kinds;
  for (const Entry& entry : entries()) kinds[entry.relativePath] = {entry.info.type, entry.isDirectory};
  const std::map<std::string, std::pair<FileType, bool>> expected = {{"folder", {FileType::folder, true}},
                                                                     {"folder/inside", {FileType::folder, true}},
                                                                     {"link", {FileType::symbolicLink, false}},
                                                                     {"dangling", {FileType::symbolicLink, false}},
                                                                     {"fifo", {FileType::fifo, false}}};
  EXPECT_EQ(kinds, expected);
  EXPECT_EQ(FileWalk::relativePaths(folder_ / "link"), std::vector<std::string>()) << "not even as the root";
}

TEST_F(FileWalkTest, AFolderMayBeLeftOutAndAFileNot) {
  makeFolder("a/b");
  makeFile("c");
  makeFile("z");
  std::vector<std::string> seen;
  FileWalk::walk(folder_.path(), [&seen](const Entry& entry) {
    seen.push_back(entry.name());
    return Next::skipDescendants;
  });
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(seen, (std::vector<std::string>{"a", "c", "z"}));
}

TEST_F(FileWalkTest, AVisitorThatFailsEndsTheWalkWithItsOwnError) {
  makeFile("a");
  makeFile("b");
  int visits = 0;
  const auto visitor = [&visits](const Entry&) -> Next { throw ++visits; };
  EXPECT_THROW(FileWalk::walk(folder_.path(), visitor), int);
  EXPECT_EQ(visits, 1);
}

TEST_F(FileWalkTest, NamesThatAreNoTextAreShownRepairedAndOpenedByTheirBytes) {
  const std::string name = "n\xFFm\ne";
  makeFolder(name);
  makeFile(name + "/\xC3\xA9\xC3", "inside");
  const auto found = entries();
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[1].relativePath, "n\uFFFDm\ne/\u00E9\uFFFD");
  EXPECT_EQ(found[1].name(), "\u00E9\uFFFD");
  std::string content;
  std::getline(std::ifstream(found[1].rawPath), content);
  EXPECT_EQ(content, "inside");
}

TEST_F(FileWalkTest, AnUnreadableFolderIsAProblemThatEndsNothing) {
  makeFolder("locked/inside");
  makeFile("other");
  const RestrictedFolder locked(folder_ / "locked", fs::perms::none);
  const auto found = entries();
  ASSERT_EQ(found.size(), 3u) << "the folder, the folder's problem, the file";
  std::vector<std::string> problems;
  for (const Entry& entry : found) {
    EXPECT_EQ(entry.isDirectory, entry.relativePath == "locked");
    if (entry.problem) problems.push_back(entry.relativePath + " " + std::to_string(*entry.problem));
  }
  EXPECT_EQ(problems, std::vector<std::string>{"locked " + std::to_string(EACCES)});
  EXPECT_EQ(walkError(folder_ / "locked").code(), EACCES) << "as the root it does";
}

TEST_F(FileWalkTest, AnItemWithoutStatusIsAProblemToo) {
  makeFolder("listed only/inside");
  const RestrictedFolder listed(folder_ / "listed only", fs::perms::owner_read);
  const Entry inside = entries().at(1);
  EXPECT_EQ(inside.relativePath, "listed only/inside");
  EXPECT_EQ(inside.problem, EACCES);
  EXPECT_EQ(inside.info, FileStatus());
  EXPECT_FALSE(inside.isDirectory);
}

TEST_F(FileWalkTest, AMissingRootIsAnErrorThatNamesIt) {
  const FileWalk::WalkError error = walkError(folder_ / "no\xFF/");
  EXPECT_EQ(error.path(), (folder_ / "no\xFF").string());
  EXPECT_EQ(error.code(), ENOENT);
  EXPECT_EQ(error.errorDescription(), "Could not read no\uFFFD.");
  EXPECT_EQ(walkError("").code(), ENOENT);
}

TEST_F(FileWalkTest, WhatLiesDeeperThanAPathMayBeLongIsAProblem) {
  makeDeepTree();
  EXPECT_EQ(entries().back().problem, ENAMETOOLONG) << "never a silent end";
}

}  // namespace
}  // namespace tavrine
