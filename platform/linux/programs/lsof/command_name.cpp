#include "platform/linux/programs/lsof/command_name.h"

namespace tavrine {
namespace {

constexpr size_t longestKernelName = 15;

std::string_view withoutDeletedMark(std::string_view path) {
  constexpr std::string_view mark = " (deleted)";
  if (path.ends_with(mark)) path.remove_suffix(mark.size());
  return path;
}

std::string_view fileName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

void appendVisibly(std::string& text, char byte) {
  if (byte == '\n') {
    text += "\\n";
  } else if (byte == '\t') {
    text += "\\t";
  } else if ((byte >= 0 && byte < ' ') || byte == '\x7f') {
    text += '^';
    text += static_cast<char>(byte ^ 0x40);
  } else {
    text += byte;
  }
}

/// At most `longestCommandName` bytes of `text`, no character of it cut in two.
std::string cut(std::string text) {
  if (text.size() <= longestCommandName) return text;
  size_t length = longestCommandName;
  while (length > 0 && (text[length] & 0xC0) == 0x80) --length;
  text.resize(length);
  return text;
}

}  // namespace

std::string commandName(std::string_view kernelName, std::string_view executable) {
  const std::string_view file = fileName(withoutDeletedMark(executable));
  const bool isCut = kernelName.size() == longestKernelName && file.starts_with(kernelName);
  std::string name;
  for (const char byte : isCut ? file : kernelName) appendVisibly(name, byte);
  return cut(std::move(name));
}

}  // namespace tavrine
