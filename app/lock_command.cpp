#include <string>
#include <vector>

#include "app/commands.h"
#include "app/item_loop.h"
#include "app/item_paths.h"
#include "app/progress_display.h"
#include "app/secret_question.h"
#include "kit/engine/volume_layout.h"
#include "kit/errors/tavrine_error.h"
#include "kit/tools/thumbnail_scrubber.h"
#include "platform/file_items.h"

namespace tavrine {
namespace {

/// The names directly in a folder that belong to the volume once it is one: they stay behind when the lock is removed.
std::vector<std::string> namesNotRestored(const Path& item) {
  std::vector<std::string> names;
  for (const std::string& name : VolumeLayout::housekeeping()) {
    if (isSomethingAt(item / name)) names.push_back(name);
  }
  return names;
}

void warnOfNamesNotRestored(const Path& item, Console& console) {
  const std::vector<std::string> names = namesNotRestored(item);
  if (names.empty()) return;
  console.warning(item.string() + " holds " + TavrineError::list(names) +
                  ". Such files are not brought back when the lock is removed.");
}

LockedItem lockItem(const Path& path, const StoredSecret& secret, const Run& run, const Session& session) {
  warnOfNamesNotRestored(path, run.console);
  ProgressDisplay display(
      run.console,
      {.name = lastComponent(path), .folder = path.parent_path(), .suffix = ".partial.sparsebundle", .source = path});
  return session.locker().lock(path, {secret.password, secret.generation}, run.interruption.token(),
                               display.callback());
}

void showLocked(const Path& path, const LockedItem& item, Console& console) {
  JsonLine json("locked");
  json.addPath("path", path).addPath("lockedPath", item.lastKnownPath).addPath("name", item.displayName);
  json.add("kind", rawValue(item.kind)).add("id", item.id.text());
  console.result(item.displayName + " is locked: " + item.lastKnownPath.string(), json);
}

}  // namespace

ExitCode runLock(const Run& run) {
  const std::vector<Path> paths = itemPaths(run.request.paths, LastLink::stands);
  SecretQuestion question(run);
  Session session(run.supportDirectory, run.console, *run.interruption.token());
  const StoredSecret secret = question.take(session.locker());
  Outcome outcome;
  bool isAnyLocked = false;
  ItemLoop(run, session, outcome).each(paths, "locking", [&](const Path& path) {
    try {
      const LockedItem item = lockItem(path, secret, run, session);
      isAnyLocked = true;
      showLocked(path, item, run.console);
    } catch (const TavrineError& error) {
      isAnyLocked = isAnyLocked || error.lockedNotice().has_value();
      throw;
    }
  });
  if (isAnyLocked) (void)ThumbnailScrubber::reset();  // a preview may stay, which the lock itself cannot help
  return outcome.exitCode();
}

}  // namespace tavrine
