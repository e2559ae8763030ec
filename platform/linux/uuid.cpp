#include "platform/uuid.h"

#include <sys/random.h>

#include <cerrno>
#include <system_error>

namespace tavrine {
namespace {

constexpr size_t textLength = 36;

bool isHyphenPlace(size_t place) {
  return place == 8 || place == 13 || place == 18 || place == 23;
}

std::optional<uint8_t> digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<uint8_t>(digit - '0');
  if (digit >= 'A' && digit <= 'F') return static_cast<uint8_t>(digit - 'A' + 10);
  if (digit >= 'a' && digit <= 'f') return static_cast<uint8_t>(digit - 'a' + 10);
  return std::nullopt;
}

}  // namespace

Uuid Uuid::random() {
  std::array<uint8_t, 16> bytes{};
  // Requests of up to 256 bytes are never cut short, so only an interruption before the first byte has to be met.
  while (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0f) | 0x40);
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3f) | 0x80);
  return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != textLength) return std::nullopt;
  std::array<uint8_t, 16> bytes{};
  size_t digits = 0;
  for (size_t place = 0; place < textLength; ++place) {
    if (isHyphenPlace(place)) {
      if (text[place] != '-') return std::nullopt;
      continue;
    }
    const auto value = digitValue(text[place]);
    if (!value) return std::nullopt;
    bytes[digits / 2] = static_cast<uint8_t>(bytes[digits / 2] << 4 | *value);
    ++digits;
  }
  return Uuid(bytes);
}

std::string Uuid::text() const {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  text.reserve(textLength);
  for (const uint8_t byte : bytes_) {
    if (isHyphenPlace(text.size())) text += '-';
    text += digits[byte >> 4];
    text += digits[byte & 0x0f];
  }
  return text;
}

}  // namespace tavrine
