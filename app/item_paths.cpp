#include "app/item_paths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace tavrine {
namespace {

namespace fs = std::filesystem;

Path located(const Path& given, LastLink lastLink) {
  const Path path = withoutSlashAtEnd(fs::absolute(given));
  const Path name = path.filename();
  const bool isWhole = lastLink == LastLink::isFollowed || name == "." || name == "..";
  std::error_code error;
  const Path resolved = isWhole ? fs::canonical(path, error) : fs::canonical(path.parent_path(), error) / name;
  return error ? path : resolved;
}

}  // namespace

std::vector<Path> itemPaths(const std::vector<Path>& given, LastLink lastLink) {
  std::vector<Path> paths;
  for (const Path& one : given) {
    Path path = located(one, lastLink);
    if (std::find(paths.begin(), paths.end(), path) == paths.end()) paths.push_back(std::move(path));
  }
  return paths;
}

}  // namespace tavrine
