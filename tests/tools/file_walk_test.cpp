#include "kit/tools/file_walk.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Entry = FileWalk::Entry;
using Next = FileWalk::Next;
using Texts = std::vector<std::string>;

/// From now on permissions bind this process even when it is root.
void obeyPermissions() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct capabilities[2];
  ::syscall(SYS_capget, &header, capabilities);
  capabilities[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
  ::syscall(SYS_capset, &header, capabilities);
}

class FileWalkTest : public testing::Test {
 protected:
  void makeFile(const fs::path& name, const std::string& content = "x") {
    fs::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name) << content;
  }

  static std::vector<Entry> entries(const Path& root) {
    std::vector<Entry> entries;
    FileWalk::walk(root, [&entries](const Entry& entry) {
      entries.push_back(entry);
      return Next::descend;
    });
    return entries;
  }

  /// What the walk shows, sorted: each path with a slash behind a folder's, a letter for the type and the problem.
  static Texts shown(const Path& root) {
    Texts texts;
    for (const Entry& entry : entries(root)) {
      texts.push_back(entry.relativePath + (entry.isDirectory ? "/ " : " ") +
                      "?fdlps"[static_cast<size_t>(entry.info.type)] + std::to_string(entry.problem.value_or(0)));
    }
    std::sort(texts.begin(), texts.end());
    return texts;
  }

  static void expectRootError(const Path& root, const FileWalk::WalkError& expected) {
    try {
      (void)FileWalk::relativePaths(root);
      ADD_FAILURE() << root;
    } catch (const FileWalk::WalkError& error) {
      EXPECT_EQ(error.path(), expected.path());
      EXPECT_EQ(error.code(), expected.code()) << root;
    }
  }

  const TemporaryFolder folder_;
};

TEST_F(FileWalkTest, ShowsEverythingBelowTheRootOnceAndFollowsNoLink) {
  makeFile("a/b/c");
  fs::create_directory_symlink("a", folder_ / "link");
  fs::create_symlink("gone", folder_ / "dangling");
  ASSERT_EQ(::mkfifo((folder_ / "fifo").c_str(), 0600), 0);
  const Texts expected = {"a/ d0", "a/b/ d0", "a/b/c f0", "dangling l0", "fifo p0", "link l0"};
  EXPECT_EQ(shown(folder_.path()), expected);
  EXPECT_EQ(shown(folder_.path().string() + "//"), expected);
  EXPECT_EQ(FileWalk::relativePaths(folder_ / "a"), (Texts{"b", "b/c"})) << "a folder comes before its contents";
  for (const char* root : {"a/b/c", "link"}) EXPECT_EQ(FileWalk::relativePaths(folder_ / root), Texts()) << root;
}

TEST_F(FileWalkTest, WalksTheWholeSystemInItsOrderAndIntoMountedVolumes) {
  Texts names;
  bool sawMounted = false;
  FileWalk::walk("/", [&](const Entry& entry) {
    sawMounted |= entry.relativePath == "proc/self";
    if (!entry.relativePath.starts_with("proc/")) names.push_back(entry.relativePath);
    return entry.relativePath == "proc" ? Next::descend : Next::skipDescendants;
  });
  Texts expected;
  for (const auto& entry : fs::directory_iterator("/")) expected.push_back(entry.path().filename());
  EXPECT_EQ(names, expected) << "and not into what is left out";
  EXPECT_TRUE(sawMounted);
}

TEST_F(FileWalkTest, GivesTheStatusOfTheItemItself) {
  makeFile("file", "twelve bytes");
  fs::create_hard_link(folder_ / "file", folder_ / "twin");
  fs::permissions(folder_ / "file", fs::perms(04751));
  fs::last_write_time(folder_ / "file", fs::file_time_type(std::chrono::nanoseconds(5)));
  struct stat status {};
  ASSERT_EQ(::stat((folder_ / "file").c_str(), &status), 0);
  const FileTime changed = {status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
  const FileTime modified = {status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
  const FileStatus expected = {.type = FileType::regular,
                               .permissions = 04751,
                               .size = 12,
                               .allocated = status.st_blocks * 512,
                               .modified = modified,
                               .changed = changed,
                               .device = status.st_dev,
                               .inode = status.st_ino,
                               .links = 2,
                               .owner = ::getuid(),
                               .group = status.st_gid};
  EXPECT_EQ(entries(folder_.path()).at(0).info, expected);
}

TEST_F(FileWalkTest, NamesThatAreNoTextAreShownRepairedAndOpenedByTheirBytes) {
  makeFile("n\xFFm\ne/\xC3\xA9\xC3", "inside");
  const Entry file = entries(folder_.path()).at(1);
  EXPECT_EQ(file.relativePath, "n\uFFFDm\ne/\u00E9\uFFFD");
  EXPECT_EQ(file.name(), "\u00E9\uFFFD");
  std::string content;
  std::getline(std::ifstream(file.rawPath), content);
  EXPECT_EQ(content, "inside");
}

TEST_F(FileWalkTest, WhatCannotBeReadIsAProblemThatEndsNothing) {
  makeFile("listed/inside");
  makeFile("locked/inside");
  makeFile("other");
  fs::permissions(folder_ / "listed", fs::perms::owner_read);
  fs::permissions(folder_ / "locked", fs::perms::none);
  obeyPermissions();
  EXPECT_EQ(shown(folder_.path()), (Texts{"listed/ d0", "listed/inside ?13", "locked/ d0", "locked/ d13", "other f0"}));
  expectRootError(folder_ / "locked", {folder_ / "locked", EACCES});
  for (const char* name : {"listed", "locked"}) fs::permissions(folder_ / name, fs::perms::owner_all);
}

TEST_F(FileWalkTest, AMissingRootIsAnErrorThatNamesIt) {
  expectRootError(folder_ / "no\xFF/", {folder_ / "no\xFF", ENOENT});
  expectRootError("", {"", ENOENT});
  EXPECT_EQ(FileWalk::WalkError("/a/no\xFF", ENOENT).errorDescription(), "Could not read no\uFFFD.");
}

TEST_F(FileWalkTest, WhatLiesDeeperThanAPathMayBeLongIsAProblem) {
  const fs::path before = fs::current_path();
  fs::current_path(folder_.path());
  for (int depth = 0; depth < 20; ++depth) {
    fs::create_directory(std::string(250, 'd'));
    fs::current_path(std::string(250, 'd'));
  }
  fs::current_path(before);
  EXPECT_EQ(entries(folder_.path()).back().problem, ENAMETOOLONG) << "never a silent end";
}

}  // namespace
}  // namespace tavrine
