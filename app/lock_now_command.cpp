#include <vector>

#include "app/commands.h"
#include "app/item_loop.h"
#include "app/item_paths.h"
#include "app/open_item_search.h"
#include "kit/errors/tavrine_error.h"
#include "kit/tools/thumbnail_scrubber.h"

namespace tavrine {
namespace {

std::vector<Path> lockedPaths(const std::vector<OpenItem>& items) {
  std::vector<Path> paths;
  for (const OpenItem& item : items) paths.push_back(item.lockedURL);
  return paths;
}

/// Force is for what is in use alone: the rest is detached as ever, with all its data written.
void relock(const OpenItem& item, const Run& run, const Locker& locker) {
  try {
    locker.relock(item, DiskImageTool::Force::no);
  } catch (const TavrineError& error) {
    if (!run.request.force || error.kind() != TavrineError::Case::inUse) throw;
    locker.relock(item, DiskImageTool::Force::yes);
  }
}

void showRelocked(const OpenItem& item, Console& console) {
  JsonLine json("relocked");
  json.addPath("lockedPath", item.lockedURL).addPath("name", item.name);
  json.add("kind", rawValue(item.kind)).add("id", item.id.text());
  console.result(item.name + " is locked again: " + item.lockedURL.string(), json);
}

void showWasLocked(const Path& path, Console& console) {
  console.result(lastComponent(path) + " is locked already.", JsonLine("wasLocked").addPath("lockedPath", path));
}

}  // namespace

ExitCode runLockNow(const Run& run) {
  const std::vector<Path> given = itemPaths(run.request.paths, LastLink::isFollowed);
  Session session(run.supportDirectory, run.console, *run.interruption.token());
  const std::vector<OpenItem> open = session.locker().openItems();
  Outcome outcome;
  bool isAnyLocked = false;
  ItemLoop(run, session, outcome).each(run.request.all ? lockedPaths(open) : given, "locking", [&](const Path& path) {
    const auto item = findOpenItem(open, path);
    if (!item) return showWasLocked(path, run.console);
    relock(*item, run, session.locker());
    isAnyLocked = true;
    showRelocked(*item, run.console);
  });
  if (isAnyLocked) (void)ThumbnailScrubber::reset();  // a preview may stay, which the lock itself cannot help
  return outcome.exitCode();
}

}  // namespace tavrine
