#pragma once

#include <optional>

#include "platform/paths.h"

namespace tavrine {

/// Whether the file manager is to hide the item's extension; nothing where that is not known.
std::optional<bool> hasHiddenExtension(const Path& url);

/// Throws `std::filesystem::filesystem_error`.
void hideExtension(const Path& url);

}  // namespace tavrine
