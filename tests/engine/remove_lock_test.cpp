#include <sys/stat.h>
#include <sys/xattr.h>

#include <filesystem>

#include "kit/errors/tavrine_error.h"
#include "tests/engine/engine_fixture.h"
#include "tests/full_disk.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using Kind = LockedItem::Kind;

class RemoveLock : public EngineTest, public testing::WithParamInterface<Kind> {
 protected:
  void expectStillLocked(const std::string& failure, const std::string& expected) {
    EXPECT_NE(failure, "");
    EXPECT_NE(failure.find(expected), std::string::npos) << failure << "\nexpected: " << expected;
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    EXPECT_EQ(describedInside(image_), contents_);
    EXPECT_EQ(records().size(), 1u);
    EXPECT_FALSE(fs::exists(item_));
  }

  std::string removeWithFaultAt(LockStep moment, const std::function<void()>& fault) {
    return failureOf([&] {
      (void)locker_.removeLock(image_, password_, cancel_, [&](LockStep step) {
        if (step == moment) fault();
      });
    });
  }

  std::string failure() {
    return failureOf([this] { (void)removeLock(image_); });
  }

  /// A file of the item: itself or one in it.
  static Path fileOf(const Path& item) { return GetParam() == Kind::folder ? item / "a file" : item; }

  const Path item_ = makeItem(GetParam());
  const std::string before_ = described(item_);
  const std::string contents_ = describedAsVolume(item_);
  const Path image_ = lockedImage(item_);
  std::shared_ptr<CancelToken> cancel_ = std::make_shared<CancelToken>();
};

INSTANTIATE_TEST_SUITE_P(Of, RemoveLock, testing::Values(Kind::folder, Kind::file),
                         [](const auto& row) { return std::string(rawValue(row.param)); });

TEST_P(RemoveLock, BringsTheItemBackAsItWas) {
  EXPECT_EQ(removeLock(image_), item_);
  EXPECT_EQ(described(item_), before_);
  EXPECT_EQ(state(), "item | | |");
  EXPECT_EQ(steps_, (std::vector{LockStep::restoring, LockStep::verifying, LockStep::finishing}));
}

TEST_P(RemoveLock, StopsAtEveryCrashPointInItsState) {
  const std::pair<CrashPoint, const char*> rows[] = {
      {CrashPoint::restoreAfterCopy, "final(hidden) restoring | attached | entry identity | complete"},
      {CrashPoint::restoreBeforeRename, "final(hidden) restoring | attached | entry identity destination | complete"},
      {CrashPoint::restoreAfterRename, "final(hidden) item | attached | entry identity destination | complete"},
      {CrashPoint::restoreAfterDeleteLocked, "item | | entry WRONG IDENTITY destination | complete"}};  // of no image
  for (const auto& [point, expected] : rows) {
    SCOPED_TRACE(rawValue(point));
    locker_.crashPoint = point;
    EXPECT_THROW(removeLock(image_), SimulatedCrash);
    EXPECT_EQ(state(), expected);
    for (const Attachment& one : attached()) EXPECT_DONE(forceDetach(one.mountPoint));
    if (fs::exists(item_)) {
      EXPECT_EQ(described(item_), before_);
    }
    if (fs::exists(image_)) {
      EXPECT_EQ(describedInside(image_), contents_);
    }
    fs::remove_all(item_), fs::remove_all(entries().at(0).partialPath);
  }
}

TEST_P(RemoveLock, LocksAnOpenItemFirst) {
  const OpenItem open = locker_.unlock(image_, password_);
  write(fileOf(open.contentURL()), "written while open");
  (void)removeLock(image_);
  EXPECT_EQ(contentOf(fileOf(item_)), "written while open");
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

TEST_P(RemoveLock, StaysAwayFromAnItemInUse) {
  const OpenItem open = locker_.unlock(image_, password_);
  for (int i = 0; i < 3; ++i) failTool("detach", "Resource busy", 16);
  EXPECT_EQ(failure(), TavrineError::inUse({}).what());
  EXPECT_EQ(locker_.openItems(), std::vector{open});
  EXPECT_TRUE(entries().empty());
}

TEST_P(RemoveLock, ReplacesNothing) {
  write(item_, "of the user");
  const Path restored = work(GetParam() == Kind::file ? "File (restored).txt" : "Item (restored)");
  EXPECT_EQ(removeLock(image_), restored);
  EXPECT_EQ(described(restored), before_);
  EXPECT_EQ(contentOf(item_), "of the user");
}

TEST_P(RemoveLock, NeedsNoRecord) {
  locker_.index.save({});
  EXPECT_EQ(removeLock(image_), item_);
  EXPECT_EQ(described(item_), before_);
  EXPECT_EQ(state(), "item | | |");
}

TEST_P(RemoveLock, UndoesWhateverTheImageToolCannotDo) {
  const std::string broken = TavrineError::diskImage("broken").what();
  for (const char* verb : {"attach", "attach+"}) {
    expectStillLocked(removeWithFaultAt(LockStep::restoring, [&] { failTool(verb); }), broken);
  }
  const Password other(std::string("other"));
  expectStillLocked(failureOf([&] { (void)locker_.removeLock(image_, other, nullptr, [](LockStep) {}); }),
                    TavrineError::wrongPassword().what());
}

TEST_P(RemoveLock, UndoesACopyThatIsNotTheItem) {
  locker_.afterRestoreCopy = [](const Path& copy) { write(fileOf(copy), "x"); };
  const std::string path = GetParam() == Kind::file ? "" : "a file";
  expectStillLocked(failure(), TavrineError::restoreVerificationFailed({{path, "size differs"}}).what());
}

TEST_P(RemoveLock, UndoesWhenCancelled) {
  for (const LockStep moment : {LockStep::restoring, LockStep::verifying}) {
    cancel_ = std::make_shared<CancelToken>();
    if (moment == LockStep::verifying && GetParam() == Kind::file) continue;  // a file alone is no walk
    expectStillLocked(removeWithFaultAt(moment, [this] { cancel_->cancel(); }), TavrineError::cancelled().what());
  }
}

TEST_P(RemoveLock, UndoesWithoutSpace) {
  std::optional<FullDisk> fullDisk;
  const OpenItem open = locker_.unlock(image_, password_);
  write(fileOf(open.contentURL()), std::string(300'000, 'x'));
  locker_.relock(open, DiskImageTool::Force::no);
  const std::string failed = removeWithFaultAt(LockStep::restoring, [&] { fullDisk.emplace(200'000); });
  fullDisk.reset();
  EXPECT_NE(failed.find("File too large"), std::string::npos) << failed;
  EXPECT_EQ(leftovers(), std::vector<std::string>());
  locker_.spaceMargin = int64_t{1} << 60;
  EXPECT_NE(failure().find("space"), std::string::npos);
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

TEST_P(RemoveLock, UndoesWhenItsPlaceIsTakenAtTheLastMoment) {
  fs::create_symlink("nowhere", item_);  // is there, though not for who follows links
  expectStillLocked(failure(), "File exists");
  EXPECT_TRUE(fs::is_symlink(item_));
}

TEST_P(RemoveLock, ChangesNothingWithoutAJournal) {
  makeUnusable(locker_.journal.fileURL());
  expectStillLocked(failure(), "operations.json");
}

TEST_P(RemoveLock, KeepsTheCopyWhileTheJournalMayNameItsPlace) {
  locker_.afterRestoreCopy = [this](const Path&) { makeUnusable(locker_.journal.fileURL()); };
  EXPECT_NE(failure().find("operations.json"), std::string::npos);
  EXPECT_EQ(leftovers().size(), 1u) << "the copy";
  EXPECT_EQ(describedInside(image_), contents_);
}

TEST_P(RemoveLock, LeavesTheRestToTheNextStartOnceTheItemIsBack) {
  const std::string stopped = removeWithFaultAt(LockStep::verifying, [this] { failTool("detach"); });
  EXPECT_EQ(stopped, TavrineError::diskImage("broken").what());
  EXPECT_EQ(state(), "final(hidden) item | attached | entry identity destination | complete");
  EXPECT_EQ(described(item_), before_);
}

TEST_P(RemoveLock, LeavesAnUnusableIndexToTheNextStart) {
  locker_.afterRestoreCopy = [this](const Path&) { makeUnusable(locker_.index.fileURL()); };
  EXPECT_NE(failure().find("items.json"), std::string::npos);
  EXPECT_EQ(described(item_), before_);
  EXPECT_FALSE(fs::exists(image_));
  EXPECT_EQ(entries().size(), 1u);
}

TEST_P(RemoveLock, KnowsALockedImageByItsNameAndPlace) {
  EXPECT_EQ(failureOf([this] { (void)removeLock(work("none.tavrlock")); }), TavrineError::notFound().what());
  write(work("other"), "");
  EXPECT_EQ(failureOf([this] { (void)removeLock(work("other")); }), TavrineError::notLocked().what());
}

using RestoreDestination = EngineTest;

TEST_F(RestoreDestination, IsTheFirstFreeName) {
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"Budget.numbers", {"Budget (restored).numbers", "Budget (restored 2).numbers", "Budget (restored 3).numbers"}},
      {"Photos", {"Photos (restored)", "Photos (restored 2)"}},
      {"backup.tar.gz", {"backup.tar (restored).gz"}},
      {".hidden", {".hidden (restored)"}}};
  for (const auto& [name, expected] : rows) {
    EXPECT_EQ(Locker::restoreDestination(name, work()), work(name));
    write(work(name), "");
    for (const std::string& next : expected) {
      EXPECT_EQ(Locker::restoreDestination(name, work()), work(next));
      write(work(next), "");
    }
  }
}

}  // namespace
}  // namespace tavrine
