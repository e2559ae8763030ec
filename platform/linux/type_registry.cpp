#include "platform/type_registry.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <vector>

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
    if (end > start) folders.emplace_back(rest.substr(start, end - start));
    start = end + 1;
  }
  return folders;
}

using Extensions = std::set<std::string, std::less<>>;

/// Takes in the lines "50:text/plain:*.txt"; a pattern of any other shape names no extension.
void addExtensions(const Path& table, Extensions& extensions) {
  std::ifstream file(table);
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') continue;
    const size_t type = line.find(':');
    const size_t pattern = type == std::string::npos ? type : line.find(':', type + 1);
    if (pattern == std::string::npos) continue;
    const std::string glob = line.substr(pattern + 1, line.find(':', pattern + 1) - pattern - 1);
    if (!glob.starts_with("*.") || glob.find_first_of("*?[.", 2) != std::string::npos) continue;
    extensions.insert(lowercased(glob.substr(2)));
  }
}

Extensions readExtensions() {
  Extensions extensions;
  for (const Path& folder : dataFolders()) addExtensions(folder / "mime" / "globs2", extensions);
  return extensions;
}

}  // namespace

bool isKnownExtension(std::string_view extension) {
  static const Extensions extensions = readExtensions();
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
