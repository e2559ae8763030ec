#include "kit/engine/lock_policy.h"

#include <algorithm>

#include "platform/path_relation.h"
#include "platform/text.h"

namespace tavrine {
namespace {

constexpr std::array<std::string_view, 3> systemPaths = {"/", "/Users", "/Volumes"};
constexpr std::array<std::string_view, 11> systemPrefixes = {
    "/System", "/Library", "/Applications", "/bin", "/sbin", "/usr", "/cores", "/dev", "/opt", "/etc", "/private/etc",
};
constexpr std::array<std::string_view, 3> standardFolders = {"Desktop", "Documents", "Downloads"};
constexpr size_t leastLibraryParts = 3;

template <typename Places>
bool isAtOrBelowAny(const std::string& path, const Places& places) {
  return std::any_of(places.begin(), places.end(), [&path](const auto& place) { return isAtOrBelow(path, place); });
}

template <typename Places>
bool isAny(const std::string& path, const Places& places) {
  return std::find(places.begin(), places.end(), path) != places.end();
}

std::vector<std::string> partsOf(std::string_view path) {
  std::vector<std::string> parts;
  for (size_t start = 0; start < path.size();) {
    const size_t end = std::min(path.find('/', start), path.size());
    if (end > start) parts.emplace_back(path.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

bool isStandardFolder(const std::string& path, const std::string& home) {
  return std::any_of(standardFolders.begin(), standardFolders.end(),
                     [&](std::string_view name) { return path == home + "/" + std::string(name); });
}

bool isLockedOrTemporary(const std::string& lowerName) {
  return lowerName.ends_with(".tavrlock") || lowerName.ends_with(".sparsebundle") || lowerName.starts_with(".tavrine-");
}

std::optional<LockRefusal> refusalOfNames(const std::string& path) {
  std::vector<std::string> names = partsOf(path);
  for (std::string& name : names) name = lowercased(name);
  if (std::any_of(names.begin(), names.end(), [](const std::string& name) { return name.ends_with(".app"); })) {
    return LockRefusal::application;
  }
  if (names.empty()) return std::nullopt;
  if (std::any_of(names.begin(), names.end() - 1, isLockedOrTemporary)) return LockRefusal::insideLockedItem;
  if (names.back().ends_with(".tavrlock") || names.back().starts_with(".tavrine-")) return LockRefusal::alreadyLocked;
  return std::nullopt;
}

}  // namespace

LockPolicy LockPolicy::of(const Path& home, const Path& mountsRoot, const std::optional<Path>& appBundle) {
  LockPolicy policy{realPath(home).string(), realPath(mountsRoot).string()};
  if (appBundle) policy.appBundle = realPath(*appBundle).string();
  return policy;
}

std::optional<LockRefusal> LockPolicy::refusal(const Path& url, const ItemFacts& facts) const {
  if (!facts.exists) return LockRefusal::doesNotExist;
  if (facts.isSymlink) return LockRefusal::shortcut;
  const std::string path = realPath(url).string();
  if (const auto refusal = refusalOfPlace(path)) return refusal;
  if (const auto refusal = refusalOfNames(path)) return refusal;
  if (facts.isNetworkVolume) return LockRefusal::networkVolume;
  if (facts.isVolumeRoot) return LockRefusal::volumeRoot;
  if (facts.size > maxBytes) return LockRefusal::tooLarge;
  return furtherRefusal(path);
}

std::optional<LockRefusal> LockPolicy::refusalOfPlace(const std::string& path) const {
  if (isAtOrBelow(path, mountsRoot)) return LockRefusal::insideUnlockedItem;
  if (appBundle && isAtOrBelow(path, *appBundle)) return LockRefusal::tavrineItself;
  if (isAny(path, systemPaths) || isAtOrBelowAny(path, systemPrefixes)) return LockRefusal::systemLocation;
  if (path == home) return LockRefusal::homeFolder;
  if (isStandardFolder(path, home)) return LockRefusal::standardFolder;
  if (isInLibrary(path)) return LockRefusal::libraryFolder;
  return std::nullopt;
}

/// A cloud's container is three levels below the library; what lies in it is the user's own.
bool LockPolicy::isInLibrary(const std::string& path) const {
  const std::string library = home + "/Library";
  if (!isAtOrBelow(path, library)) return false;
  const std::vector<std::string> parts = partsOf(std::string_view(path).substr(library.size()));
  return parts.size() < leastLibraryParts || !isAny(parts.front(), cloudFolders);
}

std::optional<LockRefusal> LockPolicy::furtherRefusal(const std::string& path) const {
  const PlatformPlaces& places = further.places;
  if (isAtOrBelowAny(path, places.systemTrees) || isAny(path, places.systemFolders)) return LockRefusal::systemLocation;
  if (isAtOrBelowAny(path, places.libraryTrees)) return LockRefusal::libraryFolder;
  if (isAny(path, places.standardFolders)) return LockRefusal::standardFolder;
  // Last: /home and /tmp may hold what Tavrine works with, and what they are says more.
  const auto overlaps = [&path](const std::string& own) { return isAtOrBelow(own, path) || isAtOrBelow(path, own); };
  if (std::any_of(further.ownPlaces.begin(), further.ownPlaces.end(), overlaps)) return LockRefusal::tavrineItself;
  return std::nullopt;
}

}  // namespace tavrine
