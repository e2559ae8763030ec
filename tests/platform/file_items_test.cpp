#include "platform/file_items.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "platform/file_flags.h"
#include "platform/file_manager.h"
#include "platform/linux/file_descriptor.h"
#include "tests/forked_child.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// The errno and path that an operation fails with; none where it does not.
template <typename Work>
std::pair<int, Path> failureOf(Work work) {
  try {
    work();
    return {0, {}};
  } catch (const fs::filesystem_error& error) {
    return {error.code().value(), error.path1()};
  }
}

TEST(MoveItem, ReplacesNothingAndStaysOnItsVolume) {
  const TemporaryFolder folder;
  replaceFile(folder / "a", "a");
  replaceFile(folder / "file", "there");
  fs::create_directory(folder / "empty");
  fs::create_symlink("nowhere", folder / "link");
  for (const Path& taken : {folder / "file", folder / "empty", folder / "link", folder / "link/"}) {
    EXPECT_EQ(failureOf([&] { moveItem(folder / "a", taken); }).first, EEXIST) << taken;
  }
  EXPECT_NE(failureOf([&] { moveItem(folder / "a", "/proc/a"); }).first, 0);
  EXPECT_EQ(readFile(folder / "a"), "a");
  moveItem(folder / "a", folder / "empty" / "b");
  EXPECT_EQ(readFile(folder / "empty" / "b"), "a");
  EXPECT_FALSE(isSomethingAt(folder / "a"));
  EXPECT_TRUE(isSomethingAt(folder / "link"));
  EXPECT_FALSE(fileExists(folder / "link"));
}

TEST(RemoveItem, RemovesWideTreesAndChainsDeeperThanAPathCanName) {
  const TemporaryFolder folder;
  const Path tree = folder / "tree";
  for (int at = 0; at < 400; ++at) {
    const Path inner = tree / std::to_string(at % 7) / std::to_string(at);
    fs::create_directories(inner);
    for (int file = 0; file < 50; ++file) std::ofstream(inner / std::to_string(file)).close();
  }
  const std::string name(100, 'd');
  FileDescriptor deepest(::open(tree.c_str(), O_PATH | O_CLOEXEC));
  for (int depth = 0; depth < 1500; ++depth) {
    ASSERT_EQ(::mkdirat(deepest.get(), name.c_str(), 0700), 0);
    ASSERT_EQ(::symlinkat("/", deepest.get(), "link"), 0);
    deepest = FileDescriptor(::openat(deepest.get(), name.c_str(), O_PATH | O_CLOEXEC));
  }
  removeItem(tree / "");
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(RemoveItem, FollowsNoLink) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "outside");
  replaceFile(folder / "outside" / "file", "kept");
  fs::create_directories(folder / "tree" / "inner");
  fs::create_directory_symlink(folder / "outside", folder / "tree" / "inner" / "link");
  fs::create_directory_symlink(folder / "outside", folder / "link");
  removeItem(folder / "tree");
  removeItem(folder / "link/");
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"outside"});
  EXPECT_EQ(readFile(folder / "outside" / "file"), "kept");
  for (const Path& wrong : {folder / "missing", folder / "outside" / "..", folder / "outside" / ".", Path("/")}) {
    EXPECT_NE(failureOf([&] { removeItem(wrong); }).first, 0) << wrong;
  }
  EXPECT_EQ(readFile(folder / "outside" / "file"), "kept");
}

/// A tree in which "outside" is mounted at "tree/b", between "tree/a" and "tree/c".
class MountInside : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (!canMount()) GTEST_SKIP() << "this process may not make mounts";
    for (const char* name : {"outside/inner", "tree/a", "tree/b", "tree/c"}) fs::create_directories(folder_ / name);
    for (const char* name : {"outside/inner/f", "tree/a/f", "tree/c/f"}) replaceFile(folder_ / name, "x");
    fs::permissions(folder_ / "outside" / "inner", fs::perms(0500));
  }

  void mountInside() const {
    const bool isBind = GetParam() == std::string("bind");
    const Path place = folder_ / "tree" / "b";
    if (!enterMountSpace()) throw std::runtime_error("no mount space");
    const int result = isBind ? ::mount((folder_ / "outside").c_str(), place.c_str(), nullptr, MS_BIND, nullptr)
                              : ::mount("tmpfs", place.c_str(), "tmpfs", 0, nullptr);
    if (result != 0) throw std::runtime_error("no mount");
    if (!isBind) fs::create_directories(place / "inner");
    if (!isBind) replaceFile(place / "inner" / "f", "x");
    fs::permissions(place / "inner", fs::perms(0500));
  }

  const TemporaryFolder folder_;
};

TEST_P(MountInside, IsNeitherEnteredNorHidesTheRest) {
  const std::string found = inChild([this]() -> std::string {
    mountInside();
    const Path tree = folder_ / "tree";
    makeTreeDeletable(tree);
    if (fs::status(tree / "b" / "inner").permissions() != fs::perms(0500)) return "rights were given in the mount";
    const auto failure = failureOf([&] { removeItem(tree); });
    if (failure != std::pair(EBUSY, tree / "b")) return "unexpected failure at " + failure.second.string();
    if (readFile(tree / "b" / "inner" / "f") != "x") return "the mount was emptied";
    if (fs::exists(tree / "a") || fs::exists(tree / "c")) return "the rest was left";
    return failureOf([&] { removeItem(tree / "b"); }).first == EBUSY ? "" : "the mount itself was removed";
  });
  EXPECT_EQ(found, "");
  EXPECT_EQ(readFile(folder_ / "outside" / "inner" / "f"), "x");
}

INSTANTIATE_TEST_SUITE_P(Kinds, MountInside, testing::Values("bind", "tmpfs"),
                         [](const auto& chosen) { return std::string(chosen.param); });

TEST(RemoveItem, GivesAnOrdinaryUserTheRightsItsFoldersLack) {
  const TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms(0777));
  const std::string found = inChild([&folder]() -> std::string {
    if (!becomeOrdinaryUser()) return "no ordinary user";
    for (const char* mode : {"0", "0100", "0200", "0400", "0500"}) {
      fs::create_directories(folder / "tree" / mode / "inner");
      replaceFile(folder / "tree" / mode / "inner" / "f", "x");
      for (const char* part : {"inner", ""}) {
        fs::permissions(folder / "tree" / mode / part, fs::perms(std::stoi(mode, nullptr, 8)));
      }
    }
    fs::permissions(folder / "tree", fs::perms(0));
    removeItem(folder / "tree");
    return fs::exists(folder / "tree") ? "the tree is still there" : "";
  });
  EXPECT_EQ(found, "");
}

TEST(RemoveItem, GoesOnAfterAFailureAndNamesTheFirst) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can make a folder of another user";
  const TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms(0777));
  for (const char* name : {"a/f", "b/f", "c/empty"}) fs::create_directories(folder / "tree" / name);
  for (const char* name : {"", "a", "a/f", "c"}) ASSERT_EQ(::chown((folder / "tree" / name).c_str(), 65534, 65534), 0);
  fs::permissions(folder / "tree" / "c" / "empty", fs::perms(0));
  const std::string found = inChild([&folder]() -> std::string {
    if (!becomeOrdinaryUser()) return "no ordinary user";
    const auto failure = failureOf([&] { removeItem(folder / "tree"); });
    return failure.second == folder / "tree" / "b" / "f" ? "" : "failed at " + failure.second.string();
  });
  EXPECT_EQ(found, "");
  EXPECT_EQ(namesIn(folder / "tree"), std::vector<std::string>{"b"});
}

bool setFlags(const Path& path, int flags) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return ::ioctl(file.get(), FS_IOC_SETFLAGS, &flags) == 0;
}

TEST(MakeTreeDeletable, ClearsFlagsOfTheTreeAndOfNothingElse) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "tree" / "append" / "inner");
  for (const char* name : {"outside", "twice", "tree/immutable", "tree/append/f"}) replaceFile(folder / name, "x");
  fs::create_symlink(folder / "outside", folder / "tree" / "link");
  fs::create_hard_link(folder / "twice", folder / "tree" / "twice");
  if (!setFlags(folder / "outside", FS_IMMUTABLE_FL)) GTEST_SKIP() << "flags cannot be set here";
  for (const char* name : {"twice", "tree/immutable"}) setFlags(folder / name, FS_IMMUTABLE_FL);
  for (const char* name : {"tree/append/f", "tree/append"}) setFlags(folder / name, FS_APPEND_FL);
  EXPECT_EQ(fileFlags(folder / "tree" / "immutable"), immutableFlag);
  EXPECT_EQ(fileFlags(folder / "tree" / "append"), appendFlag);
  EXPECT_EQ(fileFlags(folder / "tree" / "link"), 0u);
  makeTreeDeletable(folder / "tree");
  makeTreeDeletable(folder / "tree" / "link");
  for (const char* name : {"outside", "tree/twice"}) EXPECT_EQ(fileFlags(folder / name), immutableFlag) << name;
  for (const char* name : {"outside", "twice"}) setFlags(folder / name, 0);
  for (const char* name : {"immutable", "append", "append/f"}) EXPECT_EQ(fileFlags(folder / "tree" / name), 0u) << name;
  removeItem(folder / "tree");
}

}  // namespace
}  // namespace tavrine
