#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "platform/paths.h"

namespace tavrine {

/// Looks for an item of that inode number of which `isSought` is true: in `folder`, then in its subfolders, then in the
/// folder above. Stays on one volume, follows no link, looks into no folder with a temporary name of ours, and gives up
/// after 10,000 entries.
std::optional<Path> searchAround(const Path& folder, uint64_t inode, const std::function<bool(const Path&)>& isSought);

}  // namespace tavrine
