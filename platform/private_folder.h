#pragma once

#include "platform/paths.h"

namespace tavrine {

/// Creates `directory` and what is missing above it, each for its owner alone (0700). What exists keeps its
/// permissions. Whether `directory` is a folder in the end.
bool createPrivateFolders(const Path& directory);

}  // namespace tavrine
