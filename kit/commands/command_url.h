#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// The parts of a URL (RFC 3986) that a command uses, percent escapes left as written.
struct URLComponents {
  struct QueryItem {
    std::string_view name;
    std::optional<std::string_view> value;  ///< nothing where the item has no "="
  };

  std::string_view scheme;
  std::optional<std::string_view> host;  ///< nothing where the URL has no "//"
  std::vector<QueryItem> queryItems;     ///< in order; empty items are left out

  /// The components, as slices of `url`. Nothing where a character or a percent sequence stands where the RFC allows
  /// none: such a URL is refused, never repaired.
  static std::optional<URLComponents> split(std::string_view url);
};

/// `bytes` with every byte but ASCII letters, digits and -._~!$'()*,;:@ written as "%" and two upper-case hexadecimal
/// digits.
std::string percentEncoded(std::string_view bytes);

/// The bytes behind an escaped text whose percent sequences are well-formed; "+" stays "+".
std::string percentDecoded(std::string_view escaped);

}  // namespace tavrine
