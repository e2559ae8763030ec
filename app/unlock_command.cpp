#include "app/commands.h"
#include "app/item_loop.h"
#include "app/item_paths.h"
#include "app/secret_question.h"

namespace tavrine {
namespace {

void showUnlocked(const OpenItem& item, Console& console) {
  JsonLine json("unlocked");
  json.addPath("lockedPath", item.lockedURL).addPath("contentPath", item.contentURL()).addPath("name", item.name);
  json.add("kind", rawValue(item.kind)).add("id", item.id.text());
  console.result(item.name + " is unlocked: " + item.contentURL().string(), json);
}

}  // namespace

ExitCode runUnlock(const Run& run) {
  const std::vector<Path> paths = itemPaths(run.request.paths, LastLink::isFollowed);
  SecretQuestion question(run, paths);
  Session session(run.supportDirectory, run.console, *run.interruption.token());
  const StoredSecret secret = question.take(session.locker());
  Outcome outcome;
  ItemLoop(run, session, outcome).each(paths, "unlocking", [&](const Path& path) {
    const auto unlock = [&](const Password& password) { return session.locker().unlock(path, password); };
    showUnlocked(withPasswordThatOpens(secret, unlock), run.console);
  });
  return outcome.exitCode();
}

}  // namespace tavrine
