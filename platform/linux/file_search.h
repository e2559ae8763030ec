#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "platform/paths.h"

namespace tavrine {

/// Looks for an item of that inode number of which `isSought` is true: in `folder`, in the folder above, then in all
/// below `folder`; in all below the folder above where `folder` is gone. Stays on one volume, follows no link on its
/// way, looks into no folder with a temporary name of ours, and gives up after 10,000 entries.
std::optional<Path> searchAround(const Path& folder, uint64_t inode, const std::function<bool(const Path&)>& isSought);

}  // namespace tavrine
