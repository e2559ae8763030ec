#include "platform/linux/programs/hdiutil/unmount.h"

#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string_view>
#include <thread>

#include "platform/linux/programs/hdiutil/child.h"
#include "platform/linux/programs/hdiutil/tool_error.h"

namespace tavrine {
namespace {

constexpr const char* userProgram = "fusermount3";

/// How an ordinary user unmounts: a program that may do it looks whether the mount is the user's.
Unmounting unmountAsUser(const Path& mountPoint, bool lazily) {
  const OutputBuffer output;
  const FileDescriptor input = nullDevice();
  const int status = waitForChild(startChild({userProgram,
                                              {userProgram, lazily ? "-uz" : "-u", "--", mountPoint},
                                              {input.get(), output.descriptor(), output.descriptor()}}));
  if (status == 0) return Unmounting::done;
  std::string text = output.text();
  while (text.ends_with('\n')) text.pop_back();
  if (text.ends_with("Device or resource busy")) return Unmounting::busy;
  throw ToolError(text.empty() ? "cannot unmount" : text);
}

Unmounting unmountOnce(const Path& mountPoint, bool lazily) {
  if (::umount2(mountPoint.c_str(), UMOUNT_NOFOLLOW | (lazily ? MNT_DETACH : 0)) == 0) return Unmounting::done;
  if (errno == EBUSY) return Unmounting::busy;
  if (errno == EPERM) return unmountAsUser(mountPoint, lazily);
  throw ToolError::system();
}

}  // namespace

Unmounting unmount(const Path& mountPoint) {
  // The kernel answers busy also while it works off what closed files have left to do.
  constexpr int attempts = 5;
  constexpr std::chrono::milliseconds pause{20};
  for (int attempt = 1;; ++attempt) {
    if (unmountOnce(mountPoint, false) == Unmounting::done) return Unmounting::done;
    if (attempt == attempts) return Unmounting::busy;
    std::this_thread::sleep_for(pause);
  }
}

void unmountLazily(const Path& mountPoint) {
  if (unmountOnce(mountPoint, true) == Unmounting::busy) throw ToolError("the volume cannot be taken away");
}

}  // namespace tavrine
