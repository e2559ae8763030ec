#include "app/commands.h"
#include "app/session.h"

namespace tavrine {

ExitCode runRecover(const Run& run) {
  const Session session(run.supportDirectory, run.console, *run.interruption.token());
  const RecoveryReport& report = session.report();
  JsonLine json("recovered");
  json.add("finishedLocks", report.finishedLocks).add("discardedLocks", report.discardedLocks);
  json.add("finishedRestores", report.finishedRestores).add("discardedRestores", report.discardedRestores);
  json.add("detachedStale", report.detachedStale).add("keptChangedOriginals", report.keptChangedOriginals);
  json.add("keptForLater", report.keptForLater).add("indexWasDamaged", report.indexWasDamaged);
  json.add("journalWasDamaged", report.journalWasDamaged);
  if (report.notice() && !run.request.json) return ExitCode::done;  // the notice said it all
  run.console.result("There was nothing to finish.", json);
  return ExitCode::done;
}

ExitCode runRepair(const Run& run) {
  const Session session(run.supportDirectory, run.console, *run.interruption.token());
  const RunningWork::Entry entry(run.work, "repairing names");
  const bool isAnyRenamed = session.locker().repairHiddenExtensions();
  run.console.result(isAnyRenamed ? "Locked items with a name of an earlier form have their present one now."
                                  : "The names of all locked items are as they should be.",
                     JsonLine("repaired").add("renamed", isAnyRenamed));
  return ExitCode::done;
}

}  // namespace tavrine
