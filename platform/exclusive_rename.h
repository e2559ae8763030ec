#pragma once

#include <functional>

#include "platform/paths.h"

namespace tavrine {

/// A rename that fails where something is at the destination; 0, or the system's error number (errno). Flags are the
/// kernel's business alone.
using ExclusiveRename = std::function<int(const Path& source, const Path& destination)>;

/// The system's own: one step, nothing is ever replaced. ENOTSUP where the kernel or the file system has none.
int systemExclusiveRename(const Path& source, const Path& destination);

}  // namespace tavrine
