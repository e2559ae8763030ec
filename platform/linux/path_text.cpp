#include "platform/path_text.h"

#include "platform/text.h"

namespace tavrine {
namespace {

// U+100080 to U+1000BF are F4 80 82 80..BF in UTF-8, U+1000C0 to U+1000FF are F4 80 83 80..BF.
constexpr std::string_view escapeStart = "\xF4\x80";
constexpr size_t escapeLength = 4;

bool isEscape(std::string_view character) {
  return character.size() == escapeLength && character.starts_with(escapeStart) &&
         (character[2] == '\x82' || character[2] == '\x83');
}

void appendEscape(std::string& text, char byte) {
  const auto value = static_cast<unsigned char>(byte);
  text += escapeStart;
  text += value < 0xC0 ? '\x82' : '\x83';
  text += static_cast<char>(0x80 | (value & 0x3F));
}

char escapedByte(std::string_view escape) {
  const auto low = static_cast<unsigned char>(escape[3]);
  return static_cast<char>(escape[2] == '\x82' ? low : (low & 0x3F) | 0xC0);
}

/// The length of the well-formed sequence that `bytes` begin with; 0 where they begin with none.
size_t sequenceLength(std::string_view bytes) {
  for (size_t length = 1; length <= 4 && length <= bytes.size(); ++length) {
    if (isUtf8(bytes.substr(0, length))) return length;
  }
  return 0;
}

}  // namespace

std::string textFromPath(std::string_view path) {
  std::string text;
  text.reserve(path.size());
  while (!path.empty()) {
    const size_t length = sequenceLength(path);
    if (length == 0 || isEscape(path.substr(0, length))) {
      appendEscape(text, path.front());
      path.remove_prefix(1);
    } else {
      text += path.substr(0, length);
      path.remove_prefix(length);
    }
  }
  return text;
}

std::string pathFromText(std::string_view text) {
  std::string path;
  path.reserve(text.size());
  while (!text.empty()) {
    if (isEscape(text.substr(0, escapeLength))) {
      path += escapedByte(text.substr(0, escapeLength));
      text.remove_prefix(escapeLength);
    } else {
      path += text.front();
      text.remove_prefix(1);
    }
  }
  return path;
}

}  // namespace tavrine
