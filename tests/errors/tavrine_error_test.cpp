#include "kit/errors/tavrine_error.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tavrine {
namespace {

TEST(TavrineError, EveryCaseHasItsMessage) {
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
      {TavrineError::refused(LockRefusal::shortcut), "This is a shortcut to another item. Lock the original instead."},
      {TavrineError::lockedButOriginalRemains("Taxes"),
       "Taxes is locked, but Tavrine could not remove the unlocked original. It will try again next time it opens."},
      {TavrineError::lockedButRemovalUnfinished("Taxes"),
       "Taxes is locked, but Tavrine could not finish removing the unlocked original. It will finish next time it "
       "opens."},
      {TavrineError::stillInICloud("Taxes"),
       "Some files in Taxes are still in iCloud. Download them first, then try again."},
      {TavrineError::containsUnlockedItem("Taxes"), "Taxes contains an unlocked Tavrine item. Lock it first."},
      {TavrineError::containsMountedDisk("Taxes"), "Taxes contains a mounted disk image. Eject it, then try again."},
      {TavrineError::containsAppleDouble("Taxes"),
       "Taxes contains hidden macOS metadata files (their names start with ._) that Tavrine cannot lock safely. Remove "
       "them, then try again."},
      {TavrineError::finderLocked("Taxes"),
       "Taxes is marked Locked in Finder. Choose File > Get Info, untick Locked, then try again."},
      {TavrineError::containsFinderLocked("Taxes"),
       "Taxes contains files marked Locked in Finder. Choose File > Get Info, untick Locked, then try again."},
      {TavrineError::hardLinked("Taxes"),
       "Taxes has another copy linked to it elsewhere, so Tavrine cannot lock it safely."},
      {TavrineError::wrongPassword(), "That password did not work."},
      {TavrineError::notLocked(), "This is not a Tavrine locked item."},
      {TavrineError::notFound(), "That item could not be found."},
      {TavrineError::cancelled(), "Cancelled. Nothing was changed."},
      {TavrineError::needsAllLocked(), "Lock every unlocked item first."},
      {TavrineError::changedWhileLocking(),
       "The item changed while it was being locked, so nothing was changed. Try again."},
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

TEST(TavrineError, NamesAreShownAsTextWhateverTheirBytes) {
  struct Row {
    std::string name;
    std::string shown;
  };
  const Row rows[] = {
      {"", ""}, {"a\nb", "a\nb"}, {std::string(255, 'n'), std::string(255, 'n')}, {"G\xFCte", "G\uFFFDte"}};
  for (const Row& row : rows) {
    EXPECT_EQ(TavrineError::containsUnlockedItem(row.name).errorDescription(),
              row.shown + " contains an unlocked Tavrine item. Lock it first.");
  }
}

TEST(TavrineError, ListsNamesAsProse) {
  EXPECT_EQ(TavrineError::list({}), "");
  EXPECT_EQ(TavrineError::list({"A"}), "A");
  EXPECT_EQ(TavrineError::list({"A", "B"}), "A and B");
  EXPECT_EQ(TavrineError::list({"A", "B", "C", "D"}), "A, B, C and D");
}

TEST(LockRefusal, EveryCaseHasItsNameAndItsOwnMessage) {
  EXPECT_EQ(rawValue(LockRefusal::doesNotExist), "doesNotExist");
  EXPECT_EQ(message(LockRefusal::doesNotExist), "That item no longer exists.");
  EXPECT_EQ(rawValue(LockRefusal::insideLockedItem), "insideLockedItem");
  EXPECT_EQ(message(LockRefusal::insideLockedItem),
            "This is inside a locked item or a disk image, so Tavrine cannot lock it.");
  EXPECT_EQ(rawValue(LockRefusal::tooLarge), "tooLarge");
  EXPECT_EQ(message(LockRefusal::tooLarge), "Tavrine locks items up to 2 TB.");
  for (const LockRefusal refusal : allLockRefusals) EXPECT_EQ(lockRefusal(rawValue(refusal)), refusal);
  EXPECT_EQ(lockRefusal("TooLarge"), std::nullopt);
}

TEST(TreeMismatch, NamesTheRoot) {
  EXPECT_EQ((TreeMismatch{"a/b", "missing"}).description(), "a/b: missing");
  EXPECT_EQ((TreeMismatch{"", "missing"}).description(), "(root): missing");
}

}  // namespace
}  // namespace tavrine
