#include "kit/engine/recovery_report.h"

#include <string_view>
#include <vector>

namespace tavrine {
namespace {

std::string counted(int64_t count, std::string_view one, std::string_view several) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : several);
}

std::string finishedLocksText(int64_t count) {
  return "It finished locking " + counted(count, "item", "items") + ".";
}

std::string discardedLocksText(int64_t count) {
  return "It stopped " + counted(count, "unfinished lock and left that original unchanged.",
                                 "unfinished locks and left those originals unchanged.");
}

std::string finishedRestoresText(int64_t count) {
  return "It finished removing the lock from " + counted(count, "item", "items") + ".";
}

std::string discardedRestoresText(int64_t count) {
  return "It stopped " + counted(count, "unfinished lock removal. That item is still locked.",
                                 "unfinished lock removals. Those items are still locked.");
}

std::string keptChangedOriginalsText(int64_t count) {
  return counted(count, "original changed after Tavrine locked it, so Tavrine kept it next to the locked copy.",
                 "originals changed after Tavrine locked them, so Tavrine kept them next to the locked copies.");
}

std::string keptForLaterText(int64_t count) {
  return "It could not finish " + counted(count, "interrupted job", "interrupted jobs") +
         " yet and will try again next time it opens.";
}

constexpr const char* damagedIndexText =
    "Tavrine's list of locked items was damaged, so it set the list aside and started a new one. "
    "Your locked items are safe and appear in the list again when you unlock them.";

constexpr const char* damagedJournalText =
    "Tavrine's record of unfinished work was damaged, so it set the record aside and changed nothing.";

std::vector<std::string> sentences(const RecoveryReport& report) {
  std::vector<std::string> all;
  if (report.finishedLocks > 0) all.push_back(finishedLocksText(report.finishedLocks));
  if (report.discardedLocks > 0) all.push_back(discardedLocksText(report.discardedLocks));
  if (report.finishedRestores > 0) all.push_back(finishedRestoresText(report.finishedRestores));
  if (report.discardedRestores > 0) all.push_back(discardedRestoresText(report.discardedRestores));
  if (report.keptChangedOriginals > 0) all.push_back(keptChangedOriginalsText(report.keptChangedOriginals));
  if (report.keptForLater > 0) all.push_back(keptForLaterText(report.keptForLater));
  if (report.indexWasDamaged) all.emplace_back(damagedIndexText);
  if (report.journalWasDamaged) all.emplace_back(damagedJournalText);
  return all;
}

std::string title(const RecoveryReport& report) {
  if (report.indexWasDamaged || report.journalWasDamaged) return "Tavrine set a damaged file aside";
  const int64_t settled = report.finishedLocks + report.discardedLocks + report.finishedRestores +
                          report.discardedRestores + report.keptChangedOriginals;
  return settled > 0 ? "Tavrine finished interrupted work" : "Tavrine has unfinished work";
}

}  // namespace

std::optional<RecoveryNotice> RecoveryReport::notice() const {
  std::string body;
  for (const std::string& sentence : sentences(*this)) body += (body.empty() ? "" : " ") + sentence;
  if (body.empty()) return std::nullopt;
  return RecoveryNotice{title(*this), body};
}

}  // namespace tavrine
