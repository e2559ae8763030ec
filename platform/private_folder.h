#pragma once

#include "platform/paths.h"

namespace tavrine {

/// Creates `directory` and what is missing above it, each for its owner alone (0700). What exists keeps its
/// permissions. Whether `directory` is a folder in the end.
bool createPrivateFolders(const Path& directory);

/// Whether another user owns what is at `path` (links followed), or may write there by its mode. False where nothing
/// is.
bool othersMayWrite(const Path& path);

/// From now on what this process and its children make is for its owner alone unless they say otherwise, whatever the
/// user's mask is.
void makeFilesPrivate();

}  // namespace tavrine
