#include <system_error>

#include "platform/file_items.h"
#include "tests/engine/engine_fixture.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// Recovery over a journal, names and an index that others had their hands on. `victim` is none of its business.
class HostileRecovery : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    fs::create_directories(victim());
    write(victim() / "file", "content");
  }

  Path victim() const { return path("home/victim"); }
  bool isVictimWell() const { return contentOf(victim() / "file") == "content" && names(victim()).size() == 1; }

  JournalEntry entry(JournalEntry::Kind kind) const {
    return {Uuid::random(), kind,         work("item"), work("partial"),
            work("final"),  std::nullopt, std::nullopt, std::nullopt};
  }

  /// The entry of a lock of `item` that ended at the crash point.
  JournalEntry crash(const Path& item, CrashPoint point) {
    locker_.crashPoint = point;
    EXPECT_THROW(lock(item), SimulatedCrash);
    return entries().at(0);
  }
};

TEST_F(HostileRecovery, KeepsAnEntryThatLeavesItsFolder) {
  const auto change = [](auto member, Path path) { return [=](JournalEntry& entry) { entry.*member = path; }; };
  const std::function<void(JournalEntry&)> changes[] = {
      change(&JournalEntry::partialPath, victim()),     change(&JournalEntry::partialPath, work("..") / "victim"),
      change(&JournalEntry::partialPath, work("..")),   change(&JournalEntry::partialPath, work("sub") / "victim"),
      change(&JournalEntry::partialPath, work("item")), change(&JournalEntry::partialPath, "victim"),
      change(&JournalEntry::finalPath, victim()),       change(&JournalEntry::finalPath, work("partial")),
      change(&JournalEntry::deletingPath, victim()),    change(&JournalEntry::originalPath, victim() / "file"),
      change(&JournalEntry::originalPath, Path()),
  };
  fs::create_directories(work("sub/victim"));
  write(work("item"), "content");
  int64_t kept = 0;
  for (const auto kind : {JournalEntry::Kind::lock, JournalEntry::Kind::restore}) {
    for (const auto& alter : changes) {
      JournalEntry altered = entry(kind);
      alter(altered);
      locker_.journal.add(altered);
      EXPECT_EQ(locker_.recover(), RecoveryReport{.keptForLater = ++kept}) << kept;
    }
  }
  EXPECT_TRUE(isVictimWell());
  EXPECT_EQ(names(work()), (std::vector<std::string>{"item", "sub"}));
  EXPECT_EQ(names(work("sub")), std::vector<std::string>{"victim"});
}

TEST_F(HostileRecovery, TakesAwayAPlantedLinkAndNothingBehindIt) {
  for (const auto kind : {JournalEntry::Kind::lock, JournalEntry::Kind::restore}) {
    locker_.journal.add(entry(kind));
    fs::create_symlink(victim(), work("partial"));
    const bool isLock = kind == JournalEntry::Kind::lock;
    const RecoveryReport expected = isLock ? RecoveryReport{.discardedLocks = 1} : RecoveryReport{.keptForLater = 1};
    EXPECT_EQ(locker_.recover(), expected);
    EXPECT_EQ(isSomethingAt(work("partial")), !isLock);
  }
  locker_.journal.remove(entries().at(0).id);
  const JournalEntry left = crash(makeTree(), CrashPoint::lockAfterRenameToDeleting);
  fs::rename(*left.deletingPath, path("home/moved"));
  fs::create_symlink(victim(), *left.deletingPath);
  EXPECT_EQ(locker_.recover(), RecoveryReport{.finishedLocks = 1});
  EXPECT_FALSE(isSomethingAt(*left.deletingPath));
  EXPECT_TRUE(isVictimWell());
}

TEST_F(HostileRecovery, DeletesNothingThatItDidNotRename) {
  const Path item = makeTree();
  const Path deleting = work(".tavrine-" + crash(item, CrashPoint::lockAfterRename).id.text() + ".deleting");
  const std::string before = described(item);
  write(deleting, "of somebody else");
  for (int start = 0; start < 2; ++start) EXPECT_EQ(locker_.recover(), RecoveryReport{.keptForLater = 1});
  EXPECT_EQ(contentOf(deleting), "of somebody else");
  EXPECT_EQ(described(item), before);
  fs::remove(deleting);
  locker_.deleteRenamedOriginal = [](const Path&) {
    throw std::system_error(std::make_error_code(std::errc::io_error));
  };
  EXPECT_EQ(locker_.recover(), RecoveryReport{.keptForLater = 1});
  EXPECT_EQ(described(deleting), before);
  locker_.deleteRenamedOriginal = Locker::removeOwnedTree;
  EXPECT_EQ(locker_.recover(), RecoveryReport{.finishedLocks = 1});
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

TEST_F(HostileRecovery, DeletesNoOriginalBesideAnImageThatIsNotOurs) {
  for (const CrashPoint point : {CrashPoint::lockAfterRename, CrashPoint::lockAfterRenameToDeleting}) {
    const JournalEntry left = crash(makeFile(), point);
    fs::copy(left.finalPath, work("copy"), fs::copy_options::recursive);
    fs::remove_all(left.finalPath);
    fs::rename(work("copy"), left.finalPath);
    const Path original = left.deletingPath.value_or(left.originalPath);
    EXPECT_EQ(locker_.recover(), RecoveryReport{.keptForLater = 1});
    EXPECT_EQ(contentOf(original), "content");
    fs::remove(original);
    EXPECT_EQ(locker_.recover(), RecoveryReport{.finishedLocks = 1});
  }
}

TEST_F(HostileRecovery, DoesWhatItCanWithoutTheListOfImagesOrTheIndex) {
  (void)crash(makeFile(), CrashPoint::lockAfterVerify);
  fs::create_directories(locker_.mountsRoot / "empty");
  failTool("info");
  EXPECT_EQ(locker_.recover(), RecoveryReport{.discardedLocks = 1});
  EXPECT_EQ(leftovers(), std::vector<std::string>());
  (void)crash(makeFile(), CrashPoint::lockAfterRename);
  fs::create_directories(locker_.mountsRoot / "empty");
  const std::string index = contentOf(locker_.index.fileURL());
  makeUnusable(locker_.index.fileURL());
  EXPECT_EQ(locker_.recover(), RecoveryReport{.keptForLater = 1});
  EXPECT_EQ(names(locker_.mountsRoot), std::vector<std::string>{"empty"});
  fs::remove_all(locker_.index.fileURL());
  write(locker_.index.fileURL(), index);
  EXPECT_EQ(locker_.recover(), RecoveryReport{.finishedLocks = 1});
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

}  // namespace
}  // namespace tavrine
