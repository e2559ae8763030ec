#include <unistd.h>

#include <cerrno>

#include "platform/linux/programs/hdiutil/child.h"
#include "platform/linux/programs/hdiutil/served_volume.h"
#include "platform/linux/programs/hdiutil/tool_error.h"
#include "platform/linux/programs/hdiutil/unmount.h"
#include "platform/linux/programs/hdiutil/verbs.h"

namespace tavrine {
namespace {

/// A server has nothing left to do once its volume is unmounted; one that stays is used where this process cannot see.
constexpr std::chrono::seconds mostForEnd{60};

/// How long a server gets to end by itself when its volume was taken away, and to write what it was given last.
constexpr std::chrono::milliseconds grace{200};

/// Runs a program of the system; whether it was done within the time.
bool runWithin(std::chrono::seconds limit, const std::vector<std::string>& command) {
  const FileDescriptor null = nullDevice();
  const pid_t pid = startChild({command.front(), command, {null.get(), null.get(), null.get()}});
  const ProcessHandle child(pid);
  if (!child.hasEnded(limit)) child.kill();
  return waitForChild(pid) == 0;
}

/// Brings to the server what programs have changed in the memory of mapped files: it will not be unmounted in the
/// ordinary way. A server that does not answer is not waited for.
void flush(const std::string& mountPoint) {
  constexpr std::chrono::seconds mostForAnswer{2};
  constexpr std::chrono::seconds mostForFlush{60};
  if (runWithin(mostForAnswer, {"stat", "-f", "--", mountPoint}))
    (void)runWithin(mostForFlush, {"sync", "-f", "--", mountPoint});
}

/// Where the volume is shown: all the places somebody has bound it to first, the one asked for last, so that one in use
/// elsewhere is still to be found under the mount point.
std::vector<Path> placesOf(const ServedVolume& volume) {
  std::vector<Path> places;
  for (const ServedVolume& shown : servedVolumes()) {
    if (shown.token == volume.token && shown.mountPoint != volume.mountPoint) places.push_back(shown.mountPoint);
  }
  places.push_back(volume.mountPoint);
  return places;
}

void takeAway(const ServedVolume& volume, const ServingProcesses& processes) {
  for (const Path& place : placesOf(volume)) {
    if (unmount(place) == Unmounting::busy) throw ToolError("Resource busy", busyStatus);
  }
  if (!processes.waitForEnd(mostForEnd)) {
    throw ToolError("Resource busy: the volume is used where this process cannot see", busyStatus);
  }
}

/// Out of sight is not closed: whoever has a file open reads on for as long as the server lives. So the server goes
/// first; cut short in between, what is left is the mount of a dead server, which the next detach takes away.
void takeAwayByForce(const ServedVolume& volume, const ServingProcesses& processes) {
  for (const Path& place : placesOf(volume)) {
    if (unmount(place) == Unmounting::done) continue;
    flush(place);
    // The kernel counts as flushed what the server has yet to take from it.
    if (!processes.waitForEnd(grace)) processes.killServer();
    unmountLazily(place);
  }
  if (!processes.waitForEnd(grace)) processes.killServer();
  if (!processes.waitForEnd(mostForEnd)) throw ToolError("the volume's server cannot be ended");
}

void syncImage(const FileDescriptor& image) {
  if (!image.isOpen()) {
    ::sync();  // nobody is left who knows which disk it is
  } else if (::syncfs(image.get()) != 0) {
    throw ToolError::system("the image could not be brought to disk");
  }
}

/// A volume that is unmounted already although its processes live on: what a detach cut short, or one whose volume was
/// used where nobody could see, has left.
void endUnseen(const ServedVolume& volume, bool force) {
  const ServingProcesses processes(volume);
  const FileDescriptor image = processes.openImage();
  if (!processes.waitForEnd(grace)) {
    if (!force) throw ToolError("Resource busy: the volume is used where this process cannot see", busyStatus);
    processes.killServer();
    if (!processes.waitForEnd(mostForEnd)) throw ToolError("the volume's server cannot be ended");
  }
  syncImage(image);
}

}  // namespace

void detachImage(const Arguments& arguments) {
  const bool force = arguments.has("-force");
  const auto volume = servedVolumeAt(arguments.path);
  if (!volume) {
    const auto unseen = unseenVolumeOf(arguments.path);
    if (!unseen) throw ToolError("no image is attached there");
    return endUnseen(*unseen, force);
  }
  const ServingProcesses processes(*volume);
  const FileDescriptor image = processes.openImage();  // opened now: when the volume is gone nobody can tell any more
  if (force) {
    takeAwayByForce(*volume, processes);
  } else {
    takeAway(*volume, processes);
  }
  syncImage(image);
}

}  // namespace tavrine
