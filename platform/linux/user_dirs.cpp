#include "platform/linux/user_dirs.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tavrine {
namespace {

constexpr std::array<std::string_view, 3> names = {"XDG_DESKTOP_DIR=\"", "XDG_DOCUMENTS_DIR=\"", "XDG_DOWNLOAD_DIR=\""};

/// The text up to the closing quote, a backslash taken as the shell takes it; nothing where it does not close.
std::optional<std::string> unquoted(std::string_view text) {
  std::string value;
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '"') return value;
    if (text[at] == '\\' && ++at == text.size()) break;
    value += text[at];
  }
  return std::nullopt;
}

std::optional<std::string> valueOf(std::string_view line) {
  const size_t start = line.find_first_not_of(" \t");
  if (start == std::string_view::npos) return std::nullopt;
  line.remove_prefix(start);
  for (const std::string_view name : names) {
    if (line.starts_with(name)) return unquoted(line.substr(name.size()));
  }
  return std::nullopt;
}

}  // namespace

std::vector<Path> namedUserFolders(std::istream& file, const Path& home) {
  constexpr std::string_view homeVariable = "$HOME";
  std::vector<Path> folders;
  for (std::string line; std::getline(file, line);) {
    const auto value = valueOf(line);
    if (!value) continue;
    if (value->starts_with('/')) folders.push_back(standardizedPath(*value));
    if (value->starts_with("$HOME/")) {
      folders.push_back(standardizedPath(home.string() + value->substr(homeVariable.size())));
    }
  }
  return folders;
}

}  // namespace tavrine
