#pragma once

#include "platform/paths.h"

namespace tavrine {

/// Whether `folder` is at or below a place where a volume is to be mounted, by the system's own configuration, and none
/// is: then what is there is not what the user keeps there. Never fails; where the mounts cannot be told, none is
/// there.
bool awaitsMount(const Path& folder);

}  // namespace tavrine
