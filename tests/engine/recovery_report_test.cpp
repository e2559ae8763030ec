#include "kit/engine/recovery_report.h"

#include <gtest/gtest.h>

namespace tavrine {
namespace {

constexpr const char* damagedIndex =
    "Tavrine's list of locked items was damaged, so it set the list aside and started a new one. Your locked items "
    "are safe and appear in the list again when you unlock them.";
constexpr const char* damagedJournal =
    "Tavrine's record of unfinished work was damaged, so it set the record aside and changed nothing.";
constexpr const char* one =
    "It finished locking 1 item. It stopped 1 unfinished lock and left that original unchanged. It finished removing "
    "the lock from 1 item. It stopped 1 unfinished lock removal. That item is still locked. 1 original changed after "
    "Tavrine locked it, so Tavrine kept it next to the locked copy. It could not finish 1 interrupted job yet and will "
    "try again next time it opens.";
constexpr const char* several =
    "It finished locking 2 items. It stopped 12 unfinished locks and left those originals unchanged. It finished "
    "removing the lock from 3 items. It stopped 4 unfinished lock removals. Those items are still locked. 5 originals "
    "changed after Tavrine locked them, so Tavrine kept them next to the locked copies. It could not finish 1000 "
    "interrupted jobs yet and will try again next time it opens.";

TEST(RecoveryNotice, TellsEachThingInItsWordsAndOrder) {
  const char* const settled = "Tavrine finished interrupted work";
  const char* const setAside = "Tavrine set a damaged file aside";
  const struct {
    RecoveryReport report;
    std::string title;
    std::string body;
  } rows[] = {
      {{1, 1, 1, 1, 9, 1, 1, false, false}, settled, one},
      {{2, 12, 3, 4, 9, 5, 1000, false, false}, settled, several},
      {{.finishedLocks = 1}, settled, "It finished locking 1 item."},
      {{.finishedRestores = 1}, settled, "It finished removing the lock from 1 item."},
      {{.discardedLocks = 1}, settled, "It stopped 1 unfinished lock and left that original unchanged."},
      {{.discardedRestores = 1}, settled, "It stopped 1 unfinished lock removal. That item is still locked."},
      {{.detachedStale = 4, .keptForLater = 1},
       "Tavrine has unfinished work",
       "It could not finish 1 interrupted job yet and will try again next time it opens."},
      {{1, 1, 1, 1, 9, 1, 1, true, false}, setAside, one + std::string(" ") + damagedIndex},
      {{.indexWasDamaged = true, .journalWasDamaged = true},
       setAside,
       damagedIndex + std::string(" ") + damagedJournal},
      {{.journalWasDamaged = true}, setAside, damagedJournal},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.report.notice().value_or(RecoveryNotice{}), (RecoveryNotice{row.title, row.body})) << row.body;
  }
  EXPECT_EQ(RecoveryReport{.detachedStale = 2}.notice(), std::nullopt);
}

}  // namespace
}  // namespace tavrine
