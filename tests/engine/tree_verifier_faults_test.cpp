#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>

#include "kit/engine/tree_verifier.h"
#include "kit/tools/file_walk.h"
#include "tests/engine/verified_trees.h"
#include "tests/obeyed_permissions.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

class TreeVerifierFaults : public VerifiedTrees {
 protected:
  void forbid(const Path& path, unsigned mode = 0) {
    fs::permissions(folder_ / path, fs::perms(mode));
    forbidden_.push_back(folder_ / path);
  }
  void TearDown() override {
    for (const Path& path : forbidden_) fs::permissions(path, fs::perms::owner_all);
    forbidden_.clear();
  }

 private:
  std::vector<Path> forbidden_;
};

TEST_F(TreeVerifierFaults, WhatCannotBeReadIsNamedAndNeverPassedOver) {
  const struct {
    const char* item;
    unsigned mode;
    std::string failure;
  } cases[] = {
      {"one/sub/searched", 0111, "Could not read sub/searched"},
      {"one/sub/listed", 0444, "Could not read sub/listed"},
      {"one", 0600, "Could not read one"},
      {"two", 0311, "Could not read two"},
      {"two/sub/closed", 0, "Could not read sub/closed"},
      {"one/file", 0, "13 file"},
      {"two/file", 0, "13 file"},
  };
  const ObeyedPermissions obeyed;
  for (const auto& [item, mode, text] : cases) {
    for (const char* tree : {"one", "two"}) write(Path(tree) / "file");
    const bool isFile = Path(item).filename() == "file";
    if (!isFile) fs::create_directories(folder_ / item);
    forbid(item, mode);
    EXPECT_EQ(failure(), text) << item;
    TearDown();
    if (!isFile) fs::remove_all(folder_ / "one/sub"), fs::remove_all(folder_ / "two/sub");
  }
}

TEST_F(TreeVerifierFaults, TheFirstFailureIsThatOfOneThreadAfterTheOther) {
  std::set<std::string> bad;
  for (int number = 0; number < 400; ++number) {
    const std::string name = std::to_string(number);
    write("one/" + name), write("two/" + name);
    if (number % 13 == 5) forbid("one/" + name), bad.insert(name);
  }
  fs::create_directory(folder_ / "one/closed"), forbid("one/closed"), bad.insert("closed");
  fs::create_directory(folder_ / "two/first"), forbid("two/first");
  const ObeyedPermissions obeyed;
  const std::vector<std::string> walked = FileWalk::relativePaths(folder_ / "one");
  const std::string first = *std::find_if(walked.begin(), walked.end(), [&](auto& name) { return bad.contains(name); });
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(failure(), first == "closed" ? "Could not read closed" : "13 " + first);
  }
  TearDown();
  forbid("two/first");
  EXPECT_EQ(failure(), "Could not read first") << "the second tree's, when the first has none";
}

TEST_F(TreeVerifierFaults, CancellingIsNoticedOncePerItem) {
  const auto token = std::make_shared<CancelToken>();
  token->cancel();
  EXPECT_EQ(failure(token), "") << "nothing below the roots, nothing to stop at";
  write("two/extra");
  EXPECT_EQ(failure(token), "cancelled");
  fs::remove(folder_ / "one");
  EXPECT_EQ(failure(token), "2 one") << "the first tree fails before it has an item";
  write("one"), fs::remove_all(folder_ / "two"), write("two");
  EXPECT_EQ(failure(token), "") << "two files have no items to walk";
}

TEST_F(TreeVerifierFaults, AFileThatGivesOtherBytesThanItsSizeIsAnError) {
  for (const char* file : {"/proc/self/status", "/proc/version"}) {  // size 0, yet not empty
    ASSERT_EQ(fs::file_size(file), 0U);
    EXPECT_THROW((void)TreeVerifier::entry(file), TavrineError) << file;
    EXPECT_THROW((void)TreeVerifier::manifest(file, {}), TavrineError) << file;
  }
}

/// A folder and a link to another one change places all the time: every answer is an error or one of the two truths.
TEST_F(TreeVerifierFaults, ASwappedLinkLeadsNowhere) {
  write("one/swapped/file", "ours"), write("outside/file", "foreign"), write("outside/more", "foreign");
  fs::create_directory_symlink("../outside", folder_ / "one/link");
  const TreeVerifier::Entry ours = TreeVerifier::entry(folder_ / "one/swapped/file");
  std::atomic<bool> isOver = false;
  std::jthread swapper([&, one = folder_ / "one/swapped", other = folder_ / "one/link"] {
    while (!isOver) ::syscall(SYS_renameat2, AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
  });
  for (int round = 0; round < 150; ++round) {
    try {
      for (const auto& [path, entry] : TreeVerifier::manifest(folder_ / "one", {})) {
        EXPECT_TRUE(!std::holds_alternative<TreeVerifier::File>(entry) || entry == ours) << path;
        EXPECT_FALSE(path.ends_with("more")) << path;
      }
    } catch (const TavrineError&) {
    } catch (const fs::filesystem_error&) {
    }
  }
  isOver = true;
}

}  // namespace
}  // namespace tavrine
