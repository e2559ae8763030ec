#pragma once

#include <string_view>

namespace tavrine {

/// Whether `path` is `folder` or lies below it, by the texts alone.
inline bool isAtOrBelow(std::string_view path, std::string_view folder) {
  if (folder == "/") return path.starts_with('/');
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace tavrine
