#include <stdexcept>

#include "app/commands.h"
#include "app/item_loop.h"
#include "app/item_paths.h"
#include "app/open_item_search.h"
#include "platform/desktop.h"

namespace tavrine {
namespace {

Path revealed(const Path& path, const Locker& locker) {
  const auto item = findOpenItem(locker.openItems(), path);
  if (!item) throw std::runtime_error(lastComponent(path) + " is locked. Unlock it first.");
  return item->contentURL();
}

}  // namespace

ExitCode runReveal(const Run& run) {
  const std::vector<Path> paths = itemPaths(run.request.paths, LastLink::isFollowed);
  Outcome outcome;
  std::vector<Path> found;
  {
    Session session(run.supportDirectory, run.console, *run.interruption.token());
    ItemLoop(run, session, outcome).each(paths, "looking for", [&](const Path& path) {
      found.push_back(revealed(path, session.locker()));
      JsonLine json("contents");
      run.console.answer(found.back().string(), json.addPath("lockedPath", path).addPath("contentPath", found.back()));
    });
  }
  // Behind the session: what the desktop starts may take its time.
  for (const Path& contents : found) {
    if (!run.request.open || openOnDesktop(contents)) continue;
    run.console.failure(contents, {ExitCode::failed, "other", "There is no desktop here to open it."});
    outcome.add(ExitCode::failed);
  }
  return outcome.exitCode();
}

}  // namespace tavrine
