#pragma once

#include <string>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// What the guard of an attached image works on. The guard is a process of its own, alive from the attach to the
/// unmounting: it starts the volume's server, reports whether the volume came, holds the image against others together
/// with the server, and tidies up behind it. When the attaching process ends before it has said that it knows of the
/// volume, the guard takes the volume away again. It never signals a server whose attach was acknowledged.
struct GuardLaunch {
  int bundleFolder;
  int password;     ///< a pipe that holds it
  int mountFolder;  ///< the mount point's own folder, which the volume will hide
  std::string token;
  Path mountPoint;
  bool readOnly = false;
};

/// Starts a guard, waits until the volume is there and acknowledges it. When it does not come nothing of the attach is
/// left, and the guard's reason is thrown as `ToolError`.
void attachGuarded(const GuardLaunch& launch);

/// The verb that makes this program a guard. It is for `attachGuarded` only.
constexpr const char* guardVerb = "serve";

/// Whether the open folder has no entries.
bool isEmptyFolder(int folder);

/// The guard itself: what this program does with all its words when the first is that verb. Returns its exit code.
int runGuard(const std::vector<std::string>& words);

}  // namespace tavrine
