#pragma once

#include <string_view>

namespace tavrine {

/// The extension by which a locked item is known: "Taxes" becomes "Taxes.tavrlock".
inline constexpr std::string_view lockedExtension = "tavrlock";

}  // namespace tavrine
