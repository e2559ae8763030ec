#include "platform/base64.h"

#include <sodium.h>

namespace tavrine {
namespace {

constexpr int variant = sodium_base64_VARIANT_ORIGINAL;

const unsigned char* unsignedBytes(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

}  // namespace

std::string base64Text(std::string_view bytes) {
  std::string text(sodium_base64_encoded_len(bytes.size(), variant), '\0');
  (void)sodium_bin2base64(text.data(), text.size(), unsignedBytes(bytes), bytes.size(), variant);
  text.pop_back();  // the library's closing NUL
  return text;
}

std::optional<std::string> base64Bytes(std::string_view text) {
  std::string bytes(text.size() / 4 * 3 + 3, '\0');
  size_t length = 0;
  if (sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(), text.size(), nullptr,
                        &length, nullptr, variant) != 0) {
    return std::nullopt;
  }
  bytes.resize(length);
  return bytes;
}

}  // namespace tavrine
