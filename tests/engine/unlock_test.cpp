#include <filesystem>

#include "kit/errors/tavrine_error.h"
#include "tests/engine/engine_fixture.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using Kind = LockedItem::Kind;

class Unlock : public EngineTest {
 protected:
  OpenItem unlock() const { return locker_.unlock(image_, password_); }

  const Path image_ = lockedImage(makeTree());
  const Uuid id_ = records().at(0).id;
};

TEST_F(Unlock, GivesTheContentsUnderTheRecordsIdentifier) {
  const OpenItem open = unlock();
  const Path mountPoint = path("support/Open") / id_.text();
  EXPECT_EQ(open, (OpenItem{id_, image_, mountPoint, Kind::folder, "Item"}));
  EXPECT_EQ(contentOf(open.contentURL() / "a file"), "some content");
  EXPECT_EQ(locker_.openItems(), std::vector{open});
  const std::string calls = contentOf(path("fake-state/calls"));
  EXPECT_EQ(unlock(), open);
  EXPECT_EQ(contentOf(path("fake-state/calls")).find("attach", calls.size()), std::string::npos);
  locker_.relock(open, DiskImageTool::Force::no);
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

TEST_F(Unlock, LeavesNothingWhereItFails) {
  const auto failure = [this](const Path& image, const char* password) {
    return failureOf([&] { (void)locker_.unlock(image, Password(std::string(password))); });
  };
  EXPECT_EQ(failure(image_, "other"), TavrineError::wrongPassword().what());
  failTool("attach");
  EXPECT_EQ(failure(image_, "secret"), TavrineError::diskImage("broken").what());
  EXPECT_EQ(failure(work("none.tavrlock"), "secret"), TavrineError::notFound().what());
  EXPECT_EQ(failure(makeFile(), "secret"), TavrineError::notLocked().what());
  EXPECT_EQ(leftovers(), std::vector<std::string>());
  makeUnusable(locker_.index.fileURL());
  EXPECT_NE(failure(image_, "secret").find("items.json"), std::string::npos);
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

TEST_F(Unlock, ListsAnImageThatTheIndexDoesNotKnow) {
  const Path file = lockedImage(makeFile());
  locker_.index.save({});
  for (const Path& image : {image_, file}) (void)locker_.unlock(image, password_);
  const std::vector<LockedItem> found = records();
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].kind, Kind::folder);
  EXPECT_EQ(found[1].kind, Kind::file);
  EXPECT_EQ(found[0].displayName + found[1].displayName, "ItemFile.txt");
  EXPECT_EQ(found[0].contentSize.value() + found[1].contentSize.value(), 24 + 7);
  EXPECT_EQ(found[1].passwordGeneration, 0);
  EXPECT_EQ(found[1].stage, LockedItem::Stage::complete);
  EXPECT_EQ(found[1].lastKnownPath, file);
}

TEST_F(Unlock, MeasuresOnlyWhatHasNoSize) {
  LockedItem record = records().at(0);
  for (const auto& [before, after] : {std::pair<std::optional<int64_t>, int64_t>{5, 5}, {std::nullopt, 24}}) {
    record.contentSize = before;
    locker_.index.upsert(record);
    locker_.relock(unlock(), DiskImageTool::Force::no);
    EXPECT_EQ(records().at(0).contentSize, after);
  }
}

TEST_F(Unlock, ListsNothingThatIsNotOurs) {
  const Path other = makeImage("other");
  EXPECT_DONE(attach(other, makeFolder("elsewhere")));
  EXPECT_DONE(attach(makeImage("another"), makeFolder("support/Open/no identifier")));
  EXPECT_TRUE(locker_.openItems().empty());
  const OpenItem open = unlock();
  fs::rename(image_, work("Renamed.tavrlock"));
  ASSERT_EQ(locker_.openItems().size(), 1u);
  EXPECT_EQ(locker_.openItems().at(0).lockedURL, work("Renamed.tavrlock"));
  EXPECT_EQ(locker_.openItems().at(0).id, open.id);
}

TEST_F(Unlock, LocksAgainWhatIsThereOrWasEjected) {
  const OpenItem open = unlock();
  for (int i = 0; i < 3; ++i) failTool("detach", "Resource busy", 16);
  EXPECT_EQ(failureOf([&] { locker_.relock(open, DiskImageTool::Force::no); }), TavrineError::inUse({}).what());
  EXPECT_EQ(locker_.openItems(), std::vector{open});
  EXPECT_DONE(detach(open.mountPoint));
  EXPECT_TRUE(fs::exists(open.mountPoint));
  failTool("info");
  locker_.relock(open, DiskImageTool::Force::no);
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

TEST_F(Unlock, AdoptsOnlyWhatIsOpenUnderAnIdentifier) {
  const OpenItem open = unlock();
  locker_.index.save({});
  const std::string other = Uuid::random().text();
  const std::string plain = makeFile("plain.dmg");
  const Path root = locker_.mountsRoot;
  locker_.adoptOpenItems({{image_, open.mountPoint},
                          {image_, path("elsewhere") / other},
                          {image_, root / "no identifier"},
                          {plain, root / other},
                          {work("none.tavrlock"), root / other}});
  ASSERT_EQ(records().size(), 1u);
  const LockedItem record = records().at(0);
  EXPECT_EQ(record.id, id_);
  EXPECT_EQ(record.displayName, "Item");
  EXPECT_EQ(record.lastKnownPath, image_);
  EXPECT_EQ(record.passwordGeneration, 0);
  EXPECT_EQ(record.contentSize, std::nullopt);
  makeUnusable(locker_.index.fileURL());
  EXPECT_EQ(failureOf([&] { locker_.adoptOpenItems({{image_, open.mountPoint}}); }), "");
}

}  // namespace
}  // namespace tavrine
