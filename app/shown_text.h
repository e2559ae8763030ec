#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// `text` as a terminal may show it: control characters, those that change the direction of writing and line separators
/// are escaped, so that a name can neither move the cursor nor pass for another; what is no UTF-8 is U+FFFD.
std::string shownText(std::string_view text);

}  // namespace tavrine
