#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tavrine {

/// A 128-bit identifier. A plain value; any thread may use it.
class Uuid final {
 public:
  /// A new random identifier (version 4), from the system's source of randomness. Throws `std::system_error` where that
  /// fails.
  static Uuid random();

  /// The identifier written as 8-4-4-4-12 hexadecimal digits of either case; nothing for any other text.
  static std::optional<Uuid> parse(std::string_view text);

  /// The canonical text, in upper case.
  std::string text() const;

  auto operator<=>(const Uuid&) const = default;

 private:
  explicit Uuid(const std::array<uint8_t, 16>& bytes) : bytes_(bytes) {}

  std::array<uint8_t, 16> bytes_;
};

}  // namespace tavrine
