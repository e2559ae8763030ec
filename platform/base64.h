#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavrine {

/// Bytes as standard base64 text, padded.
std::string base64Text(std::string_view bytes);

/// The bytes of such a text; nothing for any other.
std::optional<std::string> base64Bytes(std::string_view text);

}  // namespace tavrine
