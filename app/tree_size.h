#pragma once

#include <cstdint>
#include <functional>

#include "platform/paths.h"

namespace tavrine {

/// How much there is at and below a place.
struct TreeSize {
  int64_t bytes = 0;  ///< held by regular files
  int64_t items = 0;  ///< everything, the place itself left out when it is a folder
};

/// Looks at names and attributes alone. What cannot be read, or goes meanwhile, counts as nothing. Ends early, with
/// what was counted so far, when `isStopped` says so.
TreeSize treeSize(const Path& place, const std::function<bool()>& isStopped);

}  // namespace tavrine
