#include "app/shown_text.h"

#include <array>
#include <cstdint>
#include <cstdio>

#include "platform/text.h"

namespace tavrine {
namespace {

struct Scalar {
  uint32_t value;
  size_t length;  ///< bytes
};

/// The scalar that well-formed UTF-8 begins with.
Scalar firstScalar(std::string_view text) {
  const auto byte = [text](size_t at) { return static_cast<uint32_t>(static_cast<unsigned char>(text[at])); };
  const uint32_t first = byte(0);
  if (first < 0x80) return {first, 1};
  const size_t length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
  uint32_t value = first & (0xffU >> (length + 1));
  for (size_t at = 1; at < length; ++at) value = (value << 6) | (byte(at) & 0x3f);
  return {value, length};
}

bool isEscaped(uint32_t scalar) {
  const auto isWithin = [scalar](uint32_t from, uint32_t to) { return scalar >= from && scalar <= to; };
  return scalar < 0x20 || isWithin(0x7f, 0x9f) || scalar == 0x61c || isWithin(0x200e, 0x200f) ||
         isWithin(0x2028, 0x202e) || isWithin(0x2066, 0x2069);
}

std::string escape(uint32_t scalar) {
  if (scalar == '\n') return "\\n";
  if (scalar == '\t') return "\\t";
  std::array<char, 16> text{};
  (void)std::snprintf(text.data(), text.size(), scalar < 0x100 ? "\\x%02x" : "\\u%04x", scalar);  // it fits
  return text.data();
}

}  // namespace

std::string shownText(std::string_view text) {
  const std::string whole = repairedUtf8(text);
  std::string result;
  for (std::string_view rest = whole; !rest.empty();) {
    const Scalar scalar = firstScalar(rest);
    result += isEscaped(scalar.value) ? escape(scalar.value) : std::string(rest.substr(0, scalar.length));
    rest.remove_prefix(scalar.length);
  }
  return result;
}

}  // namespace tavrine
