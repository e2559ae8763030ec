#include "platform/linux/mount_table.h"

#include <optional>

#include "platform/file_manager.h"

namespace tavrine {
namespace {

constexpr const char* tablePath = "/proc/self/mountinfo";

bool isOctal(char digit) {
  return digit >= '0' && digit <= '7';
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

/// id parent device root mount-point options [tag…] - type source super-options
std::optional<Mount> parseLine(std::string_view line) {
  const std::vector<std::string_view> fields = split(line, ' ');
  constexpr size_t beforeTags = 6;
  size_t dash = beforeTags;
  while (dash < fields.size() && fields[dash] != "-") ++dash;
  if (dash + 3 >= fields.size()) return std::nullopt;
  return Mount{std::string(fields[2]),
               Path(withoutTableEscapes(fields[3])),
               Path(withoutTableEscapes(fields[4])),
               std::string(fields[5]),
               withoutTableEscapes(fields[dash + 1]),
               withoutTableEscapes(fields[dash + 2]),
               withoutTableEscapes(fields[dash + 3])};
}

}  // namespace

std::string Mount::superOption(std::string_view name) const {
  for (const std::string_view option : split(superOptions, ',')) {
    if (option.starts_with(name) && option.substr(name.size()).starts_with('=')) {
      return std::string(option.substr(name.size() + 1));
    }
  }
  return {};
}

std::string withoutTableEscapes(std::string_view field) {
  std::string text;
  text.reserve(field.size());
  for (size_t at = 0; at < field.size(); ++at) {
    const bool isEscape = field[at] == '\\' && at + 3 < field.size() && isOctal(field[at + 1]) &&
                          isOctal(field[at + 2]) && isOctal(field[at + 3]);
    if (!isEscape) {
      text += field[at];
      continue;
    }
    text += static_cast<char>((field[at + 1] - '0') << 6 | (field[at + 2] - '0') << 3 | (field[at + 3] - '0'));
    at += 3;
  }
  return text;
}

std::vector<Mount> mountTable() {
  return parseMountTable(readFile(tablePath));
}

std::vector<Mount> parseMountTable(std::string_view text) {
  std::vector<Mount> mounts;
  for (const std::string_view line : split(text, '\n')) {
    if (auto mount = parseLine(line)) mounts.push_back(std::move(*mount));
  }
  return mounts;
}

}  // namespace tavrine
