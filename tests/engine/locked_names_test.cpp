#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "kit/engine/locker.h"
#include "platform/file_manager.h"
#include "platform/hidden_extension.h"
#include "platform/text.h"
#include "platform/type_registry.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Kind = LockedItem::Kind;

std::string repeated(const std::string& text, size_t times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

TEST(LockedNames, LoseTwoKnownExtensionsAtMost) {
  if (!isKnownExtension("pdf")) GTEST_SKIP() << "no table of types on this machine";
  const std::pair<const char*, const char*> rows[] = {{"Report.pdf", "Report"},
                                                      {"Report.PDF", "Report"},
                                                      {"a.tar.gz", "a"},
                                                      {"a.txt.tar.gz", "a.txt"},
                                                      {"a.qqzz", "a.qqzz"},
                                                      {"a.pdf.qqzz", "a.pdf.qqzz"},
                                                      {"a.qqzz.pdf", "a.qqzz"},
                                                      {".pdf", ".pdf"},
                                                      {"plain", "plain"},
                                                      {"\xFF\xFE.pdf", "\xFF\xFE"},
                                                      {"Photos.2024", "Photos.2024"}};
  for (const auto& [name, base] : rows) {
    EXPECT_EQ(Locker::lockedBaseName(name, Locker::Form::fileOrPackage), base) << name;
    EXPECT_EQ(Locker::lockedBaseName(name, Locker::Form::folder), name);
  }
}

TEST(LockedNames, AreCutByWholeCharacters) {
  const TemporaryFolder folder;
  const auto base = [&](const std::string& name) {
    return nameWithoutExtension(Locker::availableLockedURL(name, folder.path()));
  };
  const std::string family = "\U0001F468\u200D\U0001F469";  // 11 bytes, one character
  const std::string deep = "a" + repeated("\u0301", 200);   // one character, longer than any limit
  EXPECT_EQ(base(std::string(242, 'a')), std::string(242, 'a'));
  EXPECT_EQ(base(std::string(243, 'a')), std::string(242, 'a'));
  EXPECT_EQ(base(repeated("\u00E9", 150)), repeated("\u00E9", 121));
  EXPECT_EQ(base(std::string(240, 'a') + "e\u0301"), std::string(240, 'a'));
  EXPECT_EQ(base(std::string(232, 'a') + family), std::string(232, 'a'));
  EXPECT_EQ(base(std::string(250, '\xFF')), std::string(242, '\xFF'));
  EXPECT_EQ(base(deep), deep.substr(0, 241));
  EXPECT_EQ(Locker::volumeName(std::string(63, 'a')), std::string(63, 'a'));
  EXPECT_EQ(Locker::volumeName(std::string(64, 'a')), std::string(63, 'a'));
  EXPECT_EQ(Locker::volumeName(std::string(62, 'a') + "\u00E9"), std::string(62, 'a'));
  EXPECT_EQ(Locker::volumeName("a:b"), "a:b");
}

TEST(LockedNames, TakeTheFirstFreeNumber) {
  const TemporaryFolder folder;
  const auto next = [&] { return Locker::availableLockedURL("A", folder.path()).filename(); };
  EXPECT_EQ(next(), "A.tavrlock");
  replaceFile(folder / "A.tavrlock", "");
  EXPECT_EQ(next(), "A 2.tavrlock");
  fs::create_symlink("nowhere", folder / "A 2.tavrlock");
  EXPECT_EQ(next(), "A 3.tavrlock");
}

TEST(LockedNames, OfOpenedItemsAreSafe) {
  const LockedItem record = {.id = Uuid::random(),
                             .displayName = "Budget",
                             .kind = Kind::file,
                             .bookmark = {},
                             .lastKnownPath = {},
                             .createdAt = {},
                             .passwordGeneration = 1,
                             .stage = LockedItem::Stage::complete};
  const auto marker = [](const char* name) { return ItemMarker{.name = name}; };
  EXPECT_EQ(Locker::itemName(marker("Plan"), record, "/a/x.tavrlock"), "Plan");
  EXPECT_EQ(Locker::itemName(marker("a/b"), record, "/a/x.tavrlock"), "Budget");
  EXPECT_EQ(Locker::itemName(marker(".."), {}, "/a/x.y.tavrlock"), "x.y");
  EXPECT_EQ(Locker::itemName({}, {}, "/a/..tavrlock"), "Tavrine item");
}

TEST(LockedNames, KnowTheNumbersTheyGave) {
  const std::pair<const char*, std::optional<std::string>> rows[] = {
      {"A", ""},    {"A 2", " 2"}, {"A 10", " 10"}, {"A 1", {}},   {"A 0", {}},
      {"A 02", {}}, {"A +2", {}},  {"A -2", {}},    {"A two", {}}, {"A ", {}},
      {"A  2", {}}, {"A2", {}},    {"A 2 ", {}},    {"a 2", {}},   {"A 9223372036854775808", {}}};
  for (const auto& [current, suffix] : rows) EXPECT_EQ(Locker::unmigratedSuffix(current, "A"), suffix) << current;
  EXPECT_FALSE(Locker::isPackageExtension(""));
  EXPECT_TRUE(Locker::isPackageExtension("RTFD"));
  EXPECT_FALSE(Locker::isPackageExtension("2024"));
}

/// Images of an earlier form, as the start-up repair finds them.
class NameRepair : public testing::Test {
 protected:
  NameRepair() {
    if (!isKnownExtension("pdf")) skip_ = "no table of types on this machine";
    fs::create_directories(folder_ / "support");
  }
  void SetUp() override {
    if (skip_ != nullptr) GTEST_SKIP() << skip_;
  }

  Uuid add(const std::string& display, const std::string& locked, Kind kind = Kind::file) const {
    fs::create_directory(folder_ / locked);
    const Uuid id = Uuid::random();
    locker_.index.upsert({.id = id,
                          .displayName = display,
                          .kind = kind,
                          .bookmark = {},
                          .lastKnownPath = folder_ / locked,
                          .createdAt = {},
                          .passwordGeneration = 1,
                          .stage = LockedItem::Stage::complete});
    return id;
  }
  bool isAt(const std::string& name) const { return fs::exists(folder_ / name); }

  const char* skip_ = nullptr;
  const TemporaryFolder folder_;
  const Locker locker_{{folder_ / "support", folder_ / "home"}, {.hdiutil = "/none"}};
};

TEST_F(NameRepair, GivesImagesTheirPresentNames) {
  add("Report.pdf", "Report.pdf.tavrlock");
  add("Report.pdf", "Report.pdf 3.tavrlock");
  add("Notes.rtfd", "Notes.rtfd.tavrlock", Kind::folder);
  EXPECT_TRUE(locker_.repairHiddenExtensions());
  for (const char* name : {"Report.tavrlock", "Report 3.tavrlock"}) {
    EXPECT_TRUE(isAt(name)) << name;
    EXPECT_TRUE(locker_.index.item(folder_ / name)) << name;
  }
  for (const LockedItem& item : locker_.index.load()) EXPECT_TRUE(fs::exists(item.lastKnownPath));
  EXPECT_FALSE(locker_.repairHiddenExtensions());
}

TEST_F(NameRepair, LeavesOtherNamesAlone) {
  const char* const names[] = {"Old report.tavrlock", "Photos.2024.tavrlock", "P.pdf.tavrlock", "B.pdf.TAVRLOCK"};
  add("Report.pdf", names[0]);
  add("Photos.2024", names[1], Kind::folder);
  add("P.pdf", names[2], Kind::folder);
  add("B.pdf", names[3]);
  const Uuid busy = add("C.pdf", "C.pdf.tavrlock");
  locker_.journal.add(
      {.id = busy, .kind = JournalEntry::Kind::lock, .originalPath = "/a", .partialPath = "/b", .finalPath = "/c"});
  EXPECT_FALSE(locker_.repairHiddenExtensions());
  for (const char* name : names) EXPECT_TRUE(isAt(name)) << name;
  EXPECT_TRUE(isAt("C.pdf.tavrlock"));
}

TEST_F(NameRepair, GoesBackWhenTheIndexCannotBeWritten) {
  add("D.pdf", "D.pdf.tavrlock");
  const std::string before = readFile(locker_.index.fileURL());
  rlimit usual{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
  const rlimit none = {.rlim_cur = 0, .rlim_max = usual.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);  // so that writing fails, for root as well
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &none), 0);
  const bool hasRenamed = locker_.repairHiddenExtensions();
  EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &usual), 0);
  (void)std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(hasRenamed);
  EXPECT_TRUE(isAt("D.pdf.tavrlock"));
  EXPECT_FALSE(isAt("D.tavrlock"));
  EXPECT_EQ(readFile(locker_.index.fileURL()), before);
}

TEST_F(NameRepair, SaysInOneLineWhatItCouldNotHide) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(Locker::setHiddenExtension(folder_ / "gone.tavrlock"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "tavrine: could not hide the extension of gone.tavrlock: No such file or directory\n");
  add("E", "E.tavrlock");
  testing::internal::CaptureStderr();
  Locker::setHiddenExtensionIfNeeded(folder_ / "E.tavrlock");
  if (!testing::internal::GetCapturedStderr().empty()) GTEST_SKIP() << "no extended attributes here";
  EXPECT_EQ(hasHiddenExtension(folder_ / "E.tavrlock"), true);
}

}  // namespace
}  // namespace tavrine
