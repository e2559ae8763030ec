#pragma once

#include "platform/paths.h"

namespace tavrine {

// An item that is a folder becomes the root of a volume, and its own mode, owner, times, access-control list and
// extended attributes would be lost. They are kept in an extended attribute of that root.

/// Keeps those of `folder` at `volumeRoot`. Throws `std::filesystem::filesystem_error`.
void keepFolderAttributes(const Path& folder, const Path& volumeRoot);

/// Gives `folder` those kept at `volumeRoot`, as far as this user may; the usual mode where none are kept. Times come
/// last. Throws `std::filesystem::filesystem_error`.
void applyFolderAttributes(const Path& volumeRoot, const Path& folder);

}  // namespace tavrine
