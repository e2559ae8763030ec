#include "kit/errors/tavrine_error.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tavrine {
namespace {

TEST(TavrineError, MessagesCarryTheirData) {
  struct Row {
    TavrineError error;
    const char* message;
  };
  const Row rows[] = {
      {TavrineError::notEnoughSpace(1'500'000'000, 0),
       "Not enough free space. Tavrine needs 1.5 GB, but only Zero KB is free."},
      {TavrineError::inUse({}), "Some files are still open. Close them, then try again."},
      {TavrineError::inUse({"Preview"}), "Files are still open in Preview. Close them, then try again."},
      {TavrineError::inUse({"A", "B", "C"}), "Files are still open in A, B and C. Close them, then try again."},
      {TavrineError::diskImage("no such image"), "macOS could not open the locked item: no such image"},
      {TavrineError::diskImage(""), "macOS could not open the locked item: "},
      {TavrineError::copyFailed("disk full"), "Copying failed: disk full"},
      {TavrineError::verificationFailed({{"a", "x"}}),
       "The locked copy did not match the original (1 difference), so nothing was changed."},
      {TavrineError::verificationFailed({{"a", "x"}, {"b", "y"}, {"", "z"}}),
       "The locked copy did not match the original (3 differences), so nothing was changed."},
      {TavrineError::restoreVerificationFailed({}),
       "The restored copy did not match the locked item (0 differences), so nothing was changed. The item is still "
       "locked."},
      {TavrineError::lockedButOriginalRemains("Taxes"),
       "Taxes is locked, but Tavrine could not remove the unlocked original. It will try again next time it opens."},
      {TavrineError::lockedButRemovalUnfinished("Taxes"),
       "Taxes is locked, but Tavrine could not finish removing the unlocked original. It will finish next time it "
       "opens."},
      {TavrineError::stillInICloud("Taxes"),
       "Some files in Taxes are still in iCloud. Download them first, then try again."},
      {TavrineError::containsFinderLocked("Taxes"),
       "Taxes contains files marked Locked in Finder. Choose File > Get Info, untick Locked, then try again."},
      {TavrineError::refused(LockRefusal::tooLarge), "Tavrine locks items up to 2 TB."},
      {TavrineError::changedWhileLocking(),
       "The item changed while it was being locked, so nothing was changed. Try again."},
      // Whatever bytes a name has, its message is text.
      {TavrineError::hardLinked("G\xFCte\n"),
       "G\uFFFDte\n has another copy linked to it elsewhere, so Tavrine cannot lock it safely."},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.error.errorDescription(), row.message);
    EXPECT_STREQ(row.error.what(), row.message);
  }
}

TEST(TavrineError, EqualityComparesCaseAndData) {
  EXPECT_EQ(TavrineError::inUse({"A", "B"}), TavrineError::inUse({"A", "B"}));
  EXPECT_NE(TavrineError::inUse({"A", "B"}), TavrineError::inUse({"B", "A"}));
  EXPECT_NE(TavrineError::diskImage("x"), TavrineError::copyFailed("x"));
  EXPECT_NE(TavrineError::verificationFailed({{"a", "x"}}), TavrineError::verificationFailed({{"a", "y"}}));
  EXPECT_NE(TavrineError::hardLinked("\xFF"), TavrineError::hardLinked("\xFE")) << "their messages are alike";
  EXPECT_NE(TavrineError::notLocked(), TavrineError::notFound());
}

TEST(TavrineError, IsCaughtAsAnExceptionAndGivesItsData) {
  try {
    throw TavrineError::notEnoughSpace(7, 5);
  } catch (const std::exception& caught) {
    const auto* error = dynamic_cast<const TavrineError*>(&caught);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->kind(), TavrineError::Case::notEnoughSpace);
    EXPECT_EQ(*error->payload<TavrineError::Space>(), (TavrineError::Space{7, 5}));
    EXPECT_EQ(error->payload<LockRefusal>(), nullptr);
  }
}

TEST(TavrineError, OnlyALockedItemWithLeftoversHasANotice) {
  const auto remains = TavrineError::lockedButOriginalRemains("Taxes");
  EXPECT_EQ(remains.lockedNotice(),
            (TavrineError::Notice{"The unlocked original is still there", remains.errorDescription()}));
  EXPECT_EQ(
      TavrineError::lockedButRemovalUnfinished("Tax\xFF").lockedNotice(),
      (TavrineError::Notice{"Tax\uFFFD is locked",
                            "Tavrine could not finish removing the unlocked original. It will finish next time it "
                            "opens."}));
  EXPECT_EQ(TavrineError::notFound().lockedNotice(), std::nullopt);
  EXPECT_EQ(TavrineError::finderLocked("Taxes").lockedNotice(), std::nullopt);
}

TEST(TavrineError, ListsNamesAsProse) {
  EXPECT_EQ(TavrineError::list({}), "");
  EXPECT_EQ(TavrineError::list({"A"}), "A");
  EXPECT_EQ(TavrineError::list({"A", "B"}), "A and B");
  EXPECT_EQ(TavrineError::list({"A", "B", "C", "D"}), "A, B, C and D");
}

struct RefusalRow {
  LockRefusal refusal;
  const char* name;
  const char* message;
};

constexpr RefusalRow refusalRows[] = {
    {LockRefusal::doesNotExist, "doesNotExist", "That item no longer exists."},
    {LockRefusal::systemLocation, "systemLocation", "Tavrine does not lock macOS system folders."},
    {LockRefusal::homeFolder, "homeFolder",
     "Tavrine does not lock your whole home folder. Lock the folders inside it instead."},
    {LockRefusal::standardFolder, "standardFolder",
     "Tavrine does not lock your whole Desktop, Documents or Downloads folder. Lock the items inside it instead."},
    {LockRefusal::libraryFolder, "libraryFolder",
     "Tavrine does not lock items in your Library folder, because apps rely on them."},
    {LockRefusal::application, "application", "Tavrine does not lock apps."},
    {LockRefusal::tavrineItself, "tavrineItself", "Tavrine cannot lock itself."},
    {LockRefusal::volumeRoot, "volumeRoot",
     "Tavrine does not lock whole drives. Lock the folders on the drive instead."},
    {LockRefusal::networkVolume, "networkVolume", "Tavrine does not lock items on network drives."},
    {LockRefusal::alreadyLocked, "alreadyLocked", "This item is already locked."},
    {LockRefusal::insideUnlockedItem, "insideUnlockedItem",
     "This is inside an unlocked Tavrine item, which is already protected."},
    {LockRefusal::insideLockedItem, "insideLockedItem",
     "This is inside a locked item or a disk image, so Tavrine cannot lock it."},
    {LockRefusal::tooLarge, "tooLarge", "Tavrine locks items up to 2 TB."},
    {LockRefusal::shortcut, "shortcut", "This is a shortcut to another item. Lock the original instead."},
};

TEST(LockRefusal, EveryCaseHasItsNameAndMessage) {
  ASSERT_EQ(std::size(refusalRows), allLockRefusals.size());
  for (size_t i = 0; i < std::size(refusalRows); ++i) {
    const RefusalRow& row = refusalRows[i];
    EXPECT_EQ(allLockRefusals.at(i), row.refusal);
    EXPECT_EQ(rawValue(row.refusal), row.name);
    EXPECT_EQ(message(row.refusal), row.message);
    EXPECT_EQ(lockRefusal(row.name), row.refusal);
  }
  EXPECT_EQ(lockRefusal("TooLarge"), std::nullopt);
}

TEST(TreeMismatch, NamesTheRoot) {
  EXPECT_EQ((TreeMismatch{"a/\xFF", "missing"}).description(), "a/\uFFFD: missing");
  EXPECT_EQ((TreeMismatch{"", "missing"}).description(), "(root): missing");
}

}  // namespace
}  // namespace tavrine
