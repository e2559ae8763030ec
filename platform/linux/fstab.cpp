#include "platform/linux/fstab.h"

#include <algorithm>

namespace tavrine {
namespace {

constexpr std::string_view blanks = " \t";

/// The field at the front of `line`, which loses it and the blanks before it.
std::string_view takeField(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view field = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(field.size());
  return field;
}

}  // namespace

std::vector<Path> fstabMountPoints(std::string_view text) {
  std::vector<Path> mountPoints;
  while (!text.empty()) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (takeField(line).starts_with('#')) continue;
    const Path mountPoint = standardizedPath(withoutTableEscapes(takeField(line)));
    if (mountPoint.is_absolute() && mountPoint != "/") mountPoints.push_back(mountPoint);
  }
  return mountPoints;
}

}  // namespace tavrine
