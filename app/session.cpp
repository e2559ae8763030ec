#include "app/session.h"

#include <set>
#include <stdexcept>
#include <string>

#include "app/failure.h"
#include "app/support_directory.h"
#include "kit/commands/shared_state.h"
#include "kit/errors/tavrine_error.h"
#include "platform/system.h"
#include "platform/user_places.h"

namespace tavrine {
namespace {

Locker makeLocker(const Path& supportDirectory) {
  const auto home = homeFolder();
  if (!home) throw std::runtime_error("You have no home folder, so Tavrine cannot tell what it must not lock.");
  const Path imageTool = toolPath("hdiutil");
  return Locker({supportDirectory, *home, imageTool.parent_path()}, DiskImageTool{imageTool});
}

void writeState(const Locker& locker) {
  SharedState now{{}, SharedState::currentBootTime()};
  for (const OpenItem& item : locker.openItems()) now.unlockedPaths.push_back(canonicalPath(item.lockedURL));
  const auto file = SharedState::defaultURL();
  if (!file) throw std::runtime_error("there is no safe place for it.");
  const auto before = SharedState::read(file);
  const bool isCurrent = before && before->unlockedSet(now.bootTime) == now.unlockedSet(now.bootTime);
  if (!isCurrent) now.write(*file);
}

}  // namespace

Session::Session(const Path& supportDirectory, Console& console, const CancelToken& cancel)
    : console_(console), lock_(lockSupportDirectory(supportDirectory, cancel)), locker_(makeLocker(supportDirectory)) {
  report_ = locker_.recover();
  if (const auto notice = report_.notice()) console_.notice(notice->title, notice->body);
  publish();
}

void Session::publish() {
  const auto warn = [this](const std::exception& error) {
    console_.warning("The file manager could not be told what is unlocked: " + failureOf(error).message);
  };
  try {
    writeState(locker_);
  } catch (const TavrineError& error) {
    warn(error);
  } catch (const std::runtime_error& error) {  // the system's errors among them
    warn(error);
  }
}

}  // namespace tavrine
