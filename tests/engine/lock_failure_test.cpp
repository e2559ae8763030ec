#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "kit/errors/tavrine_error.h"
#include "tests/engine/engine_fixture.h"
#include "tests/full_disk.h"
#include "tests/holding_process.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

const std::string broken = TavrineError::diskImage("broken").what();

/// A folder that is locked while something goes wrong in one of its moments.
class LockFailure : public EngineTest {
 protected:
  using Fault = std::function<void()>;

  std::string lockWithFaultAt(LockStep moment, const Fault& fault) {
    return failureOf([&] {
      (void)locker_.lock(item_, {password_, 1}, cancel_, [&](LockStep step) {
        if (step == moment) fault();
      });
    });
  }

  void expectNothingDone(const std::string& failure, const std::string& expected) {
    EXPECT_NE(failure.find(expected), std::string::npos) << failure << "\nexpected: " << expected;
    EXPECT_NE(failure, "");
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    EXPECT_TRUE(records().empty());
    EXPECT_EQ(described(item_), before_);
    EXPECT_FALSE(fs::exists(final_) && fs::is_directory(final_));
  }

  /// The image is whole, and the next start is told of it.
  void expectLockedAllTheSame(const std::string& failure, const TavrineError& expected) {
    EXPECT_EQ(failure, expected.what());
    EXPECT_EQ(describedInside(final_), contents_);
    EXPECT_TRUE(names(locker_.mountsRoot).empty());
  }

  /// What is in the image while it is built and not attached.
  Path partialContents() const { return entries().at(0).partialPath / "contents"; }

  const Path item_ = makeTree();
  const Path final_ = work("Item.tavrlock");
  const std::string before_ = described(item_);
  const std::string contents_ = describedAsVolume(item_);
  std::shared_ptr<CancelToken> cancel_ = std::make_shared<CancelToken>();
};

TEST_F(LockFailure, UndoesWhateverTheImageToolCannotDo) {
  const std::pair<LockStep, const char*> rows[] = {
      {LockStep::encrypting, "create"},  {LockStep::encrypting, "create+"}, {LockStep::encrypting, "attach"},
      {LockStep::encrypting, "attach+"}, {LockStep::encrypting, "detach"},  {LockStep::encrypting, "detach+"},
      {LockStep::verifying, "attach"},   {LockStep::verifying, "attach+"},  {LockStep::verifying, "detach"},
      {LockStep::preparing, "info"},     {LockStep::verifying, "detach+"}};
  for (const auto& [moment, verb] : rows) {
    SCOPED_TRACE(std::string(rawValue(moment)) + ": " + verb);
    expectNothingDone(lockWithFaultAt(moment, [&, name = verb] { failTool(name); }), broken);
  }
}

TEST_F(LockFailure, StopsAtNothingInThePlaceOfItsOwnFiles) {
  ASSERT_EQ(::mkfifo((item_ / ".metadata_never_index").c_str(), 0600), 0);
  EXPECT_NE(failureOf([this] { (void)lock(item_); }).find("cannot write"), std::string::npos);
  EXPECT_EQ(leftovers(), std::vector<std::string>());
  EXPECT_TRUE(fs::exists(item_ / "a file"));
}

TEST_F(LockFailure, TellsOfACopyThatIsNotTheItem) {
  const std::pair<const char*, Fault> rows[] = {
      {"a file: missing from copy", [this] { fs::remove(partialContents() / "a file"); }},
      {"folder/new: extra in copy", [this] { write(partialContents() / "folder/new", ""); }},
      {"a file: content differs", [this] { write(partialContents() / "a file", "sOme content"); }},
      {"a file: size differs", [this] { write(partialContents() / "a file", "some"); }}};
  for (const auto& [mismatch, fault] : rows) {
    SCOPED_TRACE(mismatch);
    const std::string path(mismatch, std::string(mismatch).find(':'));
    const std::string reason = mismatch + path.size() + 2;
    expectNothingDone(lockWithFaultAt(LockStep::verifying, fault),
                      TavrineError::verificationFailed({{path, reason}}).what());
  }
}

TEST_F(LockFailure, KeepsWhatChangedMeanwhile) {
  const Fault rows[] = {[this] { write(item_ / "a file", "sOme content"); }, [this] { write(item_ / "new", ""); },
                        [this] { fs::remove(item_ / "folder/empty"); },
                        [this] { fs::permissions(item_, fs::perms(0700)), write(item_ / "folder/nested", ""); }};
  for (const Fault& change : rows) {
    std::string changed;
    locker_.afterVerify = [&] { change(), changed = described(item_); };
    EXPECT_EQ(failureOf([&] { (void)lock(item_); }), TavrineError::changedWhileLocking().what());
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    EXPECT_TRUE(records().empty());
    EXPECT_EQ(described(item_), changed);
  }
}

TEST_F(LockFailure, StopsWhenCancelledBeforeTheImageIsVerified) {
  for (const LockStep moment : {LockStep::preparing, LockStep::encrypting, LockStep::verifying}) {
    cancel_ = std::make_shared<CancelToken>();
    const std::string failure = lockWithFaultAt(moment, [this] { cancel_->cancel(); });
    expectNothingDone(failure, TavrineError::cancelled().what());
  }
  cancel_ = std::make_shared<CancelToken>();
  EXPECT_EQ(lockWithFaultAt(LockStep::removingOriginal, [this] { cancel_->cancel(); }), "") << "too late";
  EXPECT_EQ(state(), "final(hidden) | | | complete");
}

TEST_F(LockFailure, ChangesNothingOnAFullDisk) {
  write(item_ / "large", std::string(300'000, 'x'));
  const std::string whole = described(item_);
  std::optional<FullDisk> fullDisk;
  const std::string failure = lockWithFaultAt(LockStep::encrypting, [&] { fullDisk.emplace(200'000); });
  fullDisk.reset();
  EXPECT_NE(failure.find("File too large"), std::string::npos) << failure;
  EXPECT_EQ(leftovers(), std::vector<std::string>());
  EXPECT_EQ(described(item_), whole);
}

TEST_F(LockFailure, RefusesWithoutSpaceAndWhileSomebodyWrites) {
  locker_.spaceMargin = int64_t{1} << 60;
  expectNothingDone(failureOf([this] { (void)lock(item_); }), "");
  EXPECT_FALSE(fs::exists(path("support"))) << "not even the journal is written";
  locker_.spaceMargin = 0;
  const Path file = item_ / "folder/nested";
  const HoldingProcess reader([&] { (void)::open(file.c_str(), O_RDONLY); });
  const HoldingProcess writer([&] { (void)::open(file.c_str(), O_WRONLY); });
  const std::string failure = failureOf([this] { (void)lock(item_); });
  expectNothingDone(failure, "engine_tests");
  EXPECT_EQ(failure, TavrineError::inUse({"engine_tests"}).what());
}

TEST_F(LockFailure, WritesNothingWithoutAJournal) {
  makeUnusable(locker_.journal.fileURL());
  expectNothingDone(failureOf([this] { (void)lock(item_); }), "operations.json");
  fs::remove_all(locker_.journal.fileURL());
  const std::string failure =
      lockWithFaultAt(LockStep::removingOriginal, [this] { makeUnusable(locker_.journal.fileURL()); });
  expectNothingDone(failure, "operations.json");
}

TEST_F(LockFailure, ReplacesNothingThatTookItsNameAtTheLastMoment) {
  const std::string failure = lockWithFaultAt(LockStep::removingOriginal, [this] { write(final_, "of the user"); });
  expectNothingDone(failure, "File exists");
  EXPECT_EQ(contentOf(final_), "of the user");
}

TEST_F(LockFailure, SaysThatTheOriginalRemains) {
  const auto taken = [this](const Path&) { write(work(".tavrine-" + entries().at(0).id.text() + ".deleting"), "x"); };
  const std::function<void(const Path&)> rows[] = {
      [](const Path&) { throw std::system_error(EIO, std::generic_category()); },
      [this](const Path&) { makeUnusable(locker_.journal.fileURL()); }, taken};
  for (const auto& flush : rows) {
    fs::remove_all(final_), fs::remove_all(path("support"));
    locker_.flushVolume = flush;
    expectLockedAllTheSame(failureOf([this] { (void)lock(item_); }), TavrineError::lockedButOriginalRemains("Item"));
    EXPECT_EQ(described(item_), before_);
    EXPECT_EQ(records().at(0).stage, LockedItem::Stage::originalPending);
    EXPECT_EQ(records().at(0).originalPath, item_);
  }
}

TEST_F(LockFailure, SaysThatTheOriginalRemainsWhereTheIndexCannotBeWritten) {
  const std::string failure =
      lockWithFaultAt(LockStep::removingOriginal, [this] { makeUnusable(locker_.index.fileURL()); });
  expectLockedAllTheSame(failure, TavrineError::lockedButOriginalRemains("Item"));
  EXPECT_EQ(described(item_), before_);
  EXPECT_EQ(entries().at(0).lockedIdentity, FileIdentity::of(final_));
}

TEST_F(LockFailure, SaysThatTheRemovalIsUnfinished) {
  locker_.deleteRenamedOriginal = [](const Path&) { throw std::system_error(EIO, std::generic_category()); };
  expectLockedAllTheSame(failureOf([this] { (void)lock(item_); }), TavrineError::lockedButRemovalUnfinished("Item"));
  EXPECT_EQ(state(), "deleting final(hidden) | | entry identity time deleting | originalPending");
  EXPECT_EQ(described(entries().at(0).deletingPath.value()), before_);
}

TEST_F(LockFailure, IsDoneOnceTheOriginalIsGone) {
  locker_.deleteRenamedOriginal = [this](const Path& deleting) {
    fs::remove_all(deleting);
    makeUnusable(locker_.index.fileURL());
  };
  EXPECT_EQ(failureOf([this] { (void)lock(item_); }), "");
  EXPECT_TRUE(entries().empty());
  EXPECT_EQ(describedInside(final_), contents_);
}

}  // namespace
}  // namespace tavrine
