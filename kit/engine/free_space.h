#pragma once

#include <cstdint>

#include "kit/engine/locker.h"

namespace tavrine {

/// Throws `notEnoughSpace` unless `folder` has room for `size` bytes and the locker's margin. Where the free space
/// cannot be told, there is nothing to refuse by.
void requireFreeSpace(const Locker& locker, int64_t size, const Path& folder);

}  // namespace tavrine
