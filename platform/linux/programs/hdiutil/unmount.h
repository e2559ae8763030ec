#pragma once

#include "platform/paths.h"

namespace tavrine {

enum class Unmounting { done, busy };

/// Takes the volume at `mountPoint` away unless it is in use. Throws `ToolError` for any other failure.
Unmounting unmount(const Path& mountPoint);

/// Takes the volume at `mountPoint` out of sight also when it is in use; who uses it goes on until its server ends.
/// Throws `ToolError`.
void unmountLazily(const Path& mountPoint);

}  // namespace tavrine
