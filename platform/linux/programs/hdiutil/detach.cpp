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

/// How long a program that works in the volume at this moment gets to end by itself when the volume is taken from it.
constexpr std::chrono::milliseconds grace{100};

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

void takeAway(const ServedVolume& volume, const ServingProcesses& processes, bool force) {
  if (unmount(volume.mountPoint) == Unmounting::done) return;
  if (!force) throw ToolError("Resource busy", busyStatus);
  flush(volume.mountPoint);
  unmountLazily(volume.mountPoint);
  // Out of sight is not closed: whoever has a file open reads on for as long as the server lives.
  if (!processes.waitForEnd(grace)) processes.killServer();
}

void syncImage(const FileDescriptor& image) {
  if (!image.isOpen()) {
    ::sync();  // nobody is left who knows which disk it is
  } else if (::syncfs(image.get()) != 0) {
    throw ToolError::system("the image could not be brought to disk");
  }
}

}  // namespace

void detachImage(const Arguments& arguments) {
  const auto volume = servedVolumeAt(arguments.path);
  if (!volume) throw ToolError("no image is attached there");
  const ServingProcesses processes(*volume);
  const FileDescriptor image = processes.openImage();  // opened now: when the volume is gone nobody can tell any more
  // All places where somebody has bound the volume go with it: an image is open or it is not.
  for (auto place = volume; place; place = servedVolumeOf(volume->token)) {
    takeAway(*place, processes, arguments.has("-force"));
  }
  if (!processes.waitForEnd(mostForEnd)) throw ToolError("the volume is unmounted, but its server has not ended");
  syncImage(image);
}

}  // namespace tavrine
