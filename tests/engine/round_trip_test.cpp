#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>

#include "kit/errors/tavrine_error.h"
#include "tests/engine/engine_fixture.h"
#include "tests/holding_process.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using Kind = LockedItem::Kind;

/// The main scenarios, on the fake tool and on real encrypted images.
class RoundTrip : public EngineTest, public testing::WithParamInterface<Tool> {
 protected:
  RoundTrip() : EngineTest(GetParam()) {}

  /// Locks, unlocks, locks again and removes the lock; what comes back is what was there.
  void expectToComeBack(const Path& item) {
    SCOPED_TRACE(item);
    const std::string before = described(item);
    const std::string contents = describedAsVolume(item);
    const Path image = lockedImage(item);
    EXPECT_FALSE(fs::exists(fs::symlink_status(item)));
    const OpenItem open = locker_.unlock(image, password_);
    EXPECT_EQ(open.name, lastComponent(item));
    EXPECT_EQ(describedContents(open.mountPoint), contents);
    EXPECT_EQ(locker_.openItems(), std::vector{open});
    locker_.relock(open, DiskImageTool::Force::no);
    EXPECT_EQ(removeLock(image), item);
    EXPECT_EQ(described(item), before);
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    EXPECT_TRUE(records().empty());
  }

  /// One of everything that a folder can hold.
  Path makeOddTree() const {
    const Path item = makeTree("odd \xFF\n item");
    for (const std::string& name : {std::string("-rf"), std::string("line\nbreak"), std::string("not \xC3 utf-8"),
                                    std::string("\xF0\x9F\x94\x92"), std::string(255, 'n'), std::string(" ")}) {
      write(item / "folder" / name, name);
      write(item / name, name);
    }
    fs::create_symlink("nowhere \xFF", item / "dangling");
    EXPECT_EQ(::mkfifo((item / "fifo").c_str(), 0600), 0);
    write(item / "holes", "start");
    fs::resize_file(item / "holes", 64 << 20);
    EXPECT_EQ(::setxattr((item / "a file").c_str(), "user.test", "v\0w", 3, 0), 0);
    EXPECT_EQ(::setxattr(item.c_str(), "user.of the folder", "value", 5, 0), 0);
    fs::permissions(item / "folder/nested", fs::perms(04755));
    const timespec times[] = {{1, 2}, {-86400, 123456789}};
    EXPECT_EQ(::utimensat(AT_FDCWD, item.c_str(), times, 0), 0);
    return item;
  }
};

INSTANTIATE_TEST_SUITE_P(With, RoundTrip, testing::Values(Tool::fake, Tool::real),
                         [](const auto& row) { return std::string(row.param == Tool::fake ? "Fake" : "Real"); });

TEST_P(RoundTrip, BringsBackEveryKindOfItem) {
  fs::create_directory(work("empty folder"));
  for (const Path& item : {makeFile(), makeFile("empty.txt", ""), makeFile("no extension"),
                           makeTree("Package.app.rtfd"), makeTree(), work("empty folder"), makeOddTree()}) {
    expectToComeBack(item);
  }
}

TEST_P(RoundTrip, KeepsAFolderClosedToItsOwner) {
  const Path item = makeTree();
  fs::permissions(item / "folder", fs::perms(0500));
  fs::permissions(item, fs::perms(0500));
  expectToComeBack(item);
}

TEST_P(RoundTrip, KeepsTwoItemsOfTheSameBaseNameApart) {
  const Path one = makeFile("Report.pdf", "one");
  const Path two = makeFile("Report.txt", "two");
  const Path first = lockedImage(one);
  const Path second = lockedImage(two);
  EXPECT_NE(first, second);
  EXPECT_EQ(removeLock(second), two);
  EXPECT_EQ(removeLock(first), one);
  EXPECT_EQ(contentOf(one) + contentOf(two), "onetwo");
}

TEST_P(RoundTrip, LeavesAnImageAttachedThatACrashFoundSo) {
  const Path item = makeTree();
  const std::string before = described(item);
  locker_.crashPoint = CrashPoint::lockAfterCopy;
  EXPECT_THROW(lock(item), SimulatedCrash);
  EXPECT_EQ(state(), "item partial.sparsebundle | attached | entry |");
  EXPECT_EQ(described(item), before);
}

TEST_P(RoundTrip, UndoesALockThatIsCancelled) {
  const Path item = makeTree();
  const std::string before = described(item);
  const auto cancel = std::make_shared<CancelToken>();
  const auto cancelled = [&](LockStep step) {
    if (step == LockStep::verifying) cancel->cancel();
  };
  EXPECT_EQ(failureOf([&] {
              (void)locker_.lock(item, {password_, 1}, cancel, cancelled);
            }),
            TavrineError::cancelled().what());
  EXPECT_EQ(leftovers(), std::vector<std::string>());
  EXPECT_EQ(described(item), before);
}

TEST_P(RoundTrip, NamesWhoKeepsAnItemOpen) {
  if (GetParam() == Tool::fake) GTEST_SKIP() << "the fake is never in use";
  const Path image = lockedImage(makeTree());
  const OpenItem open = locker_.unlock(image, password_);
  {
    const HoldingProcess holder([&] { (void)::open((open.contentURL() / "a file").c_str(), O_RDWR); });
    const std::string inUse = TavrineError::inUse({"engine_tests"}).what();
    EXPECT_EQ(failureOf([&] { locker_.relock(open, DiskImageTool::Force::no); }), inUse);
    EXPECT_EQ(failureOf([&] { (void)removeLock(image); }), inUse);
    EXPECT_EQ(locker_.openItems(), std::vector{open});
  }
  EXPECT_EQ(contentOf(removeLock(image) / "a file"), "some content");
}

}  // namespace
}  // namespace tavrine
