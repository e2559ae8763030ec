#include "platform/linux/mime_globs.h"

#include <string_view>

#include "platform/text.h"

namespace tavrine {
namespace {

/// A line is "weight:type:pattern", perhaps with ":flags" behind it.
std::string_view patternOf(std::string_view line) {
  if (line.starts_with('#')) return {};
  for (int field = 0; field < 2; ++field) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) return {};
    line.remove_prefix(colon + 1);
  }
  return line.substr(0, line.find(':'));
}

}  // namespace

std::set<std::string> globExtensions(std::istream& table) {
  std::set<std::string> extensions;
  for (std::string line; std::getline(table, line);) {
    std::string_view pattern = patternOf(line);
    if (!pattern.starts_with("*.")) continue;
    pattern.remove_prefix(2);
    if (pattern.empty() || pattern.find_first_of(".*?[]\\") != std::string_view::npos) continue;
    extensions.insert(lowercased(pattern));
  }
  return extensions;
}

}  // namespace tavrine
