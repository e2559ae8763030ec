#pragma once

#include <optional>

#include "kit/engine/locker.h"

namespace tavrine {

/// The record for the image at `locked` that the index does not know, by what its volume's marker says; its content's
/// size is not known yet. Stores nothing.
LockedItem recordOfUnlistedImage(const Uuid& id, const Path& locked, const std::optional<ItemMarker>& marker);

}  // namespace tavrine
