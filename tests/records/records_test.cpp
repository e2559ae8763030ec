#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <random>

#include "kit/records/item_index.h"
#include "kit/records/item_marker.h"
#include "kit/records/json_codec.h"
#include "kit/records/operation_journal.h"
#include "platform/file_items.h"
#include "platform/file_manager.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// Values of every kind that a record may hold, odd bytes included.
class RandomRecords final {
 public:
  explicit RandomRecords(uint32_t seed) : random_(seed) {}

  LockedItem item() {
    return {.id = Uuid::random(),
            .displayName = bytes(),
            .kind = flip() ? LockedItem::Kind::file : LockedItem::Kind::folder,
            .bookmark = maybe(bytes()),
            .lastKnownPath = path(),
            .createdAt = date(),
            .passwordGeneration = number(),
            .stage = flip() ? LockedItem::Stage::complete : LockedItem::Stage::originalPending,
            .originalPath = maybe(path()),
            .contentSize = maybe(number())};
  }

  JournalEntry entry() {
    return {.id = Uuid::random(),
            .kind = flip() ? JournalEntry::Kind::lock : JournalEntry::Kind::restore,
            .originalPath = path(),
            .partialPath = path(),
            .finalPath = flip() ? path() : Path(),
            .lockedIdentity = maybe(FileIdentity{static_cast<uint64_t>(number()), number(), number()}),
            .lockedAt = maybe(date()),
            .deletingPath = maybe(path())};
  }

 private:
  bool flip() { return random_() % 2 == 0; }
  int64_t number() { return static_cast<int64_t>(random_()) * (flip() ? 1 : -1); }
  Date date() { return Date(std::chrono::seconds(random_() % 4'000'000'000)); }
  Path path() { return "/" + bytes(); }
  std::string bytes() {
    std::string text(random_() % 20, ' ');
    for (char& c : text) c = static_cast<char>(1 + random_() % 255);
    return text;
  }
  template <typename T>
  std::optional<T> maybe(T value) {
    return flip() ? std::optional<T>(std::move(value)) : std::nullopt;
  }

  std::mt19937_64 random_;
};

class Records : public testing::Test {
 protected:
  const TemporaryFolder folder_;
  const ItemIndex index_{folder_ / "support" / "items.json"};
  const OperationJournal journal_{folder_ / "support" / "operations.json"};
  const uint32_t seed_ = std::random_device()();
  RandomRecords records_{seed_};

  void writeIndex(const std::string& text) {
    fs::create_directories(index_.fileURL().parent_path());
    std::ofstream(index_.fileURL(), std::ios::trunc) << text;
  }
  std::vector<std::string> setAside() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(index_.fileURL().parent_path())) {
      const std::string name = entry.path().filename();
      if (name.starts_with("items.json.damaged-")) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(Records, AnyListComesBackAsItWas) {
  SCOPED_TRACE(testing::Message() << "seed " << seed_);
  std::vector<LockedItem> items;
  for (int i = 0; i < 300; ++i) items.push_back(records_.item());
  index_.save(items);
  EXPECT_EQ(index_.load(), items);

  std::vector<JournalEntry> entries;
  for (int i = 0; i < 30; ++i) journal_.add(entries.emplace_back(records_.entry()));
  EXPECT_EQ(journal_.load(), entries);
}

TEST_F(Records, AreReadAndWrittenInTheirOwnForm) {
  const std::string text = R"([
  {
    "bookmark": "AQI=",
    "contentSize": 7,
    "createdAt": "2025-03-01T09:30:00Z",
    "displayName": "Taxes",
    "id": "0F0E0D0C-0B0A-4908-8706-050403020100",
    "kind": "folder",
    "lastKnownPath": "/home/user/Taxes.tavrlock",
    "originalPath": "/home/user/Taxes",
    "passwordGeneration": 3,
    "stage": "originalPending"
  }
])";
  writeIndex(text);
  const auto items = index_.load();
  ASSERT_EQ(items.size(), 1U);
  EXPECT_EQ(items[0].bookmark, "\x01\x02");
  EXPECT_EQ(items[0].createdAt, Date(std::chrono::seconds(1740821400)));
  index_.save(items);
  EXPECT_EQ(readFile(index_.fileURL()), text);
  struct stat file {};
  struct stat above {};
  ASSERT_EQ(::stat(index_.fileURL().c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 07777, 0600U);
  journal_.remove(Uuid::random());  // creates the file, and nothing else
  EXPECT_EQ(readFile(journal_.fileURL()), "[]");
  const OperationJournal elsewhere(folder_ / "new" / "deep" / "operations.json");
  elsewhere.remove(Uuid::random());
  ASSERT_EQ(::stat((folder_ / "new").c_str(), &above), 0);
  EXPECT_EQ(above.st_mode & 07777, 0700U);
}

TEST_F(Records, KeepTheirPlaceAndLeaveNoDouble) {
  const LockedItem first = records_.item();
  LockedItem second = records_.item();
  const LockedItem third = records_.item();
  for (const auto& item : {first, second, third}) index_.upsert(item);
  second.displayName = "changed";
  index_.upsert(second);
  EXPECT_EQ(index_.load(), (std::vector{first, second, third}));
  index_.remove(first.id);
  EXPECT_EQ(index_.load(), (std::vector{second, third}));

  JournalEntry one = records_.entry();
  const JournalEntry two = records_.entry();
  journal_.add(one);
  journal_.add(two);
  one.deletingPath = "/elsewhere";
  journal_.add(one);
  EXPECT_EQ(journal_.load(), (std::vector{two, one}));
}

/// What is cut or has a flipped bit reads as damaged, set aside with its bytes, or as a list; it is never lost.
TEST_F(Records, DamageIsSetAsideAndNeverDeleted) {
  LockedItem item = records_.item();
  item.displayName = "Taxes";
  index_.save({item});
  const std::string whole = readFile(index_.fileURL());
  for (size_t i = 0; i < 2 * whole.size(); ++i) {
    std::string damaged = whole.substr(0, i);
    if (i >= whole.size()) {
      damaged = whole;
      damaged[i - whole.size()] = static_cast<char>(damaged[i - whole.size()] ^ (1 << (i % 7)));
    }
    writeIndex(damaged);
    const ItemIndex::Loaded loaded = index_.loadReportingDamage();
    if (!loaded.damaged) {
      EXPECT_EQ(readFile(index_.fileURL()), damaged);
      continue;
    }
    EXPECT_TRUE(loaded.items.empty());
    EXPECT_FALSE(fs::exists(index_.fileURL()));
    const auto names = setAside();
    ASSERT_EQ(names.size(), 1U) << i;
    EXPECT_EQ(readFile(index_.fileURL().parent_path() / names[0]), damaged);
    fs::remove(index_.fileURL().parent_path() / names[0]);
  }
}

TEST_F(Records, AreDamagedWhereAFieldDoesNotFit) {
  const auto with = [](const std::string& field, const std::string& value) {
    std::string text =
        R"([{"createdAt":"2025-03-01T09:30:00Z","displayName":"a","id":"0F0E0D0C-0B0A-4908-8706-050403020100",
      "kind":"file","lastKnownPath":"/a","passwordGeneration":1,"stage":"complete","bookmark":null}])";
    const size_t start = text.find("\"" + field + "\":") + field.size() + 3;
    return text.replace(start, text.find_first_of(",}", start) - start, value);
  };
  writeIndex(with("kind", "\"folder\""));
  EXPECT_EQ(index_.load().size(), 1U);
  const std::vector<std::pair<std::string, std::string>> faults = {
      {"kind", "\"Folder\""},
      {"stage", "\"done\""},
      {"passwordGeneration", "1.5"},
      {"passwordGeneration", "\"1\""},
      {"bookmark", "\"A\""},
      {"createdAt", "\"2025-03-01T09:30:00.5Z\""},
      {"createdAt", "\"2025-02-30T09:30:00Z\""},
      {"createdAt", "1740821400"},
      {"id", "\"0F0E0D0C\""},
      {"displayName", "null"},
      {"lastKnownPath", "\"/a\\u0000b\""},
  };
  for (const auto& [field, value] : faults) {
    writeIndex(with(field, value));
    EXPECT_TRUE(index_.loadReportingDamage().damaged) << field << ' ' << value;
  }
  const auto names = setAside();
  EXPECT_EQ(names.size(), faults.size());  // each kept, though most of one second
  const auto isSecond = [](const std::string& name) { return name.size() == 36 && name.ends_with("-2"); };
  EXPECT_TRUE(std::any_of(names.begin(), names.end(), isSecond));
}

TEST_F(Records, OfTheJournalNeedAWholeIdentity) {
  const std::string start = R"([{"id":"0F0E0D0C-0B0A-4908-8706-050403020100","kind":"restore","originalPath":"/a",
    "partialPath":"/b","finalPath":"","lockedAt":null,"lockedIdentity":{"inode":18446744073709551615,"birthSeconds":-1)";
  replaceFile(folder_ / "whole", start + R"(,"birthNanoseconds":5}}])");
  const auto entries = OperationJournal(folder_ / "whole").load();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].lockedIdentity, (FileIdentity{UINT64_MAX, -1, 5}));
  EXPECT_EQ(entries[0].finalPath, "");
  EXPECT_EQ(entries[0].deletingPath, std::nullopt);
  replaceFile(folder_ / "part", start + "}}]");
  EXPECT_TRUE(OperationJournal(folder_ / "part").loadReportingDamage().damaged);
  EXPECT_FALSE(fs::exists(folder_ / "part"));
}

TEST_F(Records, ThatCannotBeReadAreLeftAlone) {
  fs::create_directories(index_.fileURL());  // a folder in the file's place
  fs::create_symlink("loop", folder_ / "loop");
  fs::create_symlink("missing", folder_ / "dangling");
  for (const Path& file : {index_.fileURL(), folder_ / "loop/items.json", folder_ / "dangling"}) {
    const ItemIndex index(file);
    EXPECT_THROW((void)index.load(), fs::filesystem_error) << file;
    EXPECT_THROW(index.upsert(records_.item()), fs::filesystem_error) << file;
  }
  EXPECT_TRUE(fs::is_directory(index_.fileURL()));
  EXPECT_TRUE(fs::is_symlink(folder_ / "dangling"));
}

TEST_F(Records, WithAnImpossibleDateAreNotWritten) {
  LockedItem item = records_.item();
  index_.save({item});
  item.createdAt = std::chrono::sys_days(std::chrono::year(10000) / 1 / 1);
  EXPECT_THROW(index_.upsert(item), std::out_of_range);
  EXPECT_EQ(index_.load().size(), 1U);
}

TEST_F(Records, FindTheItemOfAnImage) {
  const Path image = folder_ / "Taxes.tavrlock";
  fs::create_directory(image);
  LockedItem item = records_.item();
  item = ItemIndex::refreshed(item, image);
  LockedItem gone = records_.item();
  gone.bookmark.reset();
  gone.lastKnownPath = folder_ / "gone";
  index_.save({gone, item});
  fs::create_symlink(image, folder_ / "link");
  EXPECT_EQ(index_.item(folder_ / "link"), item);
  fs::rename(image, folder_ / "Old taxes.tavrlock");
  EXPECT_EQ(index_.item(folder_ / "Old taxes.tavrlock"), item);
  EXPECT_EQ(ItemIndex::locate(gone), std::nullopt);
  fs::create_directory(folder_ / "elsewhere");
  fs::rename(folder_ / "Old taxes.tavrlock", folder_ / "elsewhere/Taxes.tavrlock");
  fs::create_directory(image);  // another one in its old place
  EXPECT_EQ(index_.item(image), std::nullopt) << "the last known path stands in only where the bookmark fails";
  item.bookmark = "no bookmark";
  EXPECT_EQ(ItemIndex::locate(item), image);
}

TEST_F(Records, MarkersAreReadLeniently) {
  const auto read = [this](const std::string& text) {
    std::ofstream(folder_ / ItemMarker::fileName, std::ios::trunc) << text;
    return ItemMarker::read(folder_.path());
  };
  const ItemMarker marker{1, LockedItem::Kind::folder, "odd \xff name"};
  marker.write(folder_.path());
  EXPECT_EQ(ItemMarker::read(folder_.path()), marker);
  EXPECT_EQ(read(R"({"name":"a","formatVersion":7,"kind":"file"})"), (ItemMarker{7, LockedItem::Kind::file, "a"}));
  EXPECT_EQ(read(R"({"formatVersion":1,"kind":"file"})"), std::nullopt);
  EXPECT_EQ(read(R"({"name":"a","formatVersion":1,"kind":"disk"})"), std::nullopt);
  EXPECT_EQ(ItemMarker::read(folder_ / "missing"), std::nullopt);
  using namespace std::string_literals;
  for (const auto& name : {""s, "."s, ".."s, "a/b"s, "a\0b"s}) EXPECT_FALSE(ItemMarker::isSafeName(name)) << name;
  for (const auto& name : {"..."s, ".a"s, " "s}) EXPECT_TRUE(ItemMarker::isSafeName(name)) << name;
}

}  // namespace
}  // namespace tavrine
