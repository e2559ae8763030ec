#include <filesystem>

#include "kit/errors/tavrine_error.h"
#include "tests/engine/engine_fixture.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using Kind = LockedItem::Kind;

class Lock : public EngineTest, public testing::WithParamInterface<Kind> {
 protected:
  const Path item_ = makeItem(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Of, Lock, testing::Values(Kind::folder, Kind::file),
                         [](const auto& row) { return std::string(rawValue(row.param)); });

TEST_P(Lock, ReplacesTheItemByItsImage) {
  const std::string before = describedAsVolume(item_);
  const LockedItem record = lock(item_);
  EXPECT_EQ(state(), "final(hidden) | | | complete");
  EXPECT_EQ(records(), std::vector{record});
  EXPECT_EQ(describedInside(record.lastKnownPath), before);
  EXPECT_EQ(record.displayName, lastComponent(item_));
  EXPECT_EQ(record.kind, GetParam());
  EXPECT_EQ(record.passwordGeneration, 7);
  EXPECT_EQ(record.contentSize, GetParam() == Kind::file ? 7 : 12 + 12);
  EXPECT_EQ(steps_, (std::vector{LockStep::preparing, LockStep::encrypting, LockStep::verifying,
                                 LockStep::removingOriginal, LockStep::finishing}));
}

TEST_P(Lock, StopsAtEveryCrashPointInItsState) {
  const std::pair<CrashPoint, const char*> rows[] = {
      {CrashPoint::lockAfterCreate, "item partial.sparsebundle | | entry |"},
      {CrashPoint::lockAfterCopy, "item partial.sparsebundle | attached | entry |"},
      {CrashPoint::lockAfterVerify, "item partial.sparsebundle | | entry |"},
      {CrashPoint::lockBeforeRename, "item partial.sparsebundle | | entry identity time |"},
      {CrashPoint::lockAfterMove, "final item | | entry identity time |"},
      {CrashPoint::lockAfterRename, "final(hidden) item | | entry identity time | originalPending"},
      {CrashPoint::lockAfterRenameToDeleting,
       "deleting final(hidden) | | entry identity time deleting | originalPending"},
      {CrashPoint::lockAfterDeleteOriginal, "final(hidden) | | entry identity time deleting | originalPending"}};
  const std::string before = described(item_);
  for (const auto& [point, expected] : rows) {
    SCOPED_TRACE(rawValue(point));
    for (const Attachment& one : attached()) EXPECT_DONE(forceDetach(one.mountPoint));
    fs::remove_all(work()), fs::remove_all(path("support")), fs::create_directory(work());
    (void)makeItem(GetParam());
    locker_.crashPoint = point;
    EXPECT_THROW(lock(item_), SimulatedCrash);
    EXPECT_EQ(state(), expected);
    if (fs::exists(item_)) {
      EXPECT_EQ(described(item_), before);
    }
    if (point >= CrashPoint::lockAfterRename) {
      EXPECT_EQ(entries().at(0).lockedAt, records().at(0).createdAt);
    }
  }
}

TEST_P(Lock, ReadsTheCrashPointOnceTheImageIsCreated) {
  const auto stopsWhenSetAt = [this](LockStep moment) {
    return failureOf([&] {
      (void)locker_.lock(item_, {password_, 1}, nullptr, [&](LockStep step) {
        if (step == moment) locker_.crashPoint = CrashPoint::lockBeforeRename;
      });
    });
  };
  EXPECT_EQ(stopsWhenSetAt(LockStep::encrypting), SimulatedCrash().what());
  for (const JournalEntry& entry : entries()) locker_.journal.remove(entry.id);
  locker_.crashPoint = std::nullopt;
  EXPECT_EQ(stopsWhenSetAt(LockStep::verifying), "");
}

TEST_P(Lock, FollowsALinkAboveTheItem) {
  fs::create_directory_symlink(work(), path("home/link"));
  const LockedItem record = lock(path("home/link") / item_.filename());
  EXPECT_EQ(record.lastKnownPath.parent_path(), work());
  EXPECT_FALSE(fs::exists(item_));
}

}  // namespace
}  // namespace tavrine
