#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/paths.h"

namespace tavrine {

/// The kernel's handle of the item, a link not followed: opaque bytes; empty where the file system has none.
std::string kernelHandleOf(const Path& path);

/// Where the item of a handle is now, on the volume that holds `folder`, or the nearest above it that exists. Nothing
/// without the right to open handles, for an item that was deleted, and for bytes that are no handle.
std::optional<Path> pathOfKernelHandle(std::string_view handle, const Path& folder);

}  // namespace tavrine
