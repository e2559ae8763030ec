#pragma once

#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// Whether a link as the last component stands for itself or for what it leads to.
enum class LastLink { stands, isFollowed };

/// The items that `given` names, absolute and the way the system walks there, links above them resolved: "a/../b" is
/// what the system finds there even where "a" is a link. Each item once, in the order given. What does not exist stays
/// as written.
std::vector<Path> itemPaths(const std::vector<Path>& given, LastLink lastLink);

}  // namespace tavrine
