#include "platform/type_registry.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/mime_globs.h"
#include "platform/linux/user_folders.h"
#include "platform/text.h"

namespace tavrine {
namespace {

/// Where the desktop's data is, the user's before the system's.
std::vector<Path> dataFolders() {
  std::vector<Path> folders;
  if (const auto own = folderVariable("XDG_DATA_HOME")) {
    folders.push_back(*own);
  } else if (const auto home = homeFolder()) {
    folders.push_back(*home / ".local" / "share");
  }
  const char* listed = std::getenv("XDG_DATA_DIRS");  // NOLINT(concurrency-mt-unsafe): the programs set no variables
  std::string rest = listed != nullptr && *listed != '\0' ? listed : "/usr/local/share:/usr/share";
  for (size_t start = 0; start <= rest.size();) {
    const size_t end = std::min(rest.find(':', start), rest.size());
    if (rest[start] == '/')
      folders.emplace_back(rest.substr(start, end - start));  // a relative one is no folder of data
    start = end + 1;
  }
  return folders;
}

std::set<std::string> readExtensions() {
  std::set<std::string> extensions;
  for (const Path& folder : dataFolders()) {
    std::ifstream table(folder / "mime/globs2");
    extensions.merge(globExtensions(table));
  }
  return extensions;
}

}  // namespace

bool isKnownExtension(std::string_view extension) {
  static const std::set<std::string> extensions = readExtensions();
  return extensions.contains(lowercased(extension));
}

bool isPackageType(std::string_view extension) {
  static constexpr std::array<std::string_view, 12> packages = {
      "app", "bundle",     "framework", "key",          "numbers",   "pages",
      "pkg", "playground", "rtfd",      "sparsebundle", "xcodeproj", "download",
  };
  const std::string lower = lowercased(extension);
  return std::find(packages.begin(), packages.end(), lower) != packages.end();
}

}  // namespace tavrine
