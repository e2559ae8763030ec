#include "platform/linux/programs/lsof/location.h"

#include <optional>

namespace tavrine {
namespace {

/// What `path`, which is within `folder`, has behind it: empty or beginning with a slash.
std::string_view below(std::string_view path, std::string_view folder) {
  if (folder == "/") return path == "/" ? "" : path;
  return path.substr(folder.size());
}

std::string joined(const std::string& folder, std::string_view rest) {
  if (rest.empty()) return folder;
  return (folder == "/" ? "" : folder) + std::string(rest);
}

/// The mount that `path` is reached through: the deepest one above it, and the topmost of several at one point.
const Mount* mountOf(const std::vector<Mount>& mounts, std::string_view path) {
  const Mount* found = nullptr;
  for (const Mount& mount : mounts) {
    const std::string& point = mount.mountPoint.native();
    if (isWithin(path, point) && (found == nullptr || point.size() >= found->mountPoint.native().size()))
      found = &mount;
  }
  return found;
}

/// Where `mount` shows the place or a part of it.
std::optional<std::string> placeIn(const Mount& mount, const Location& location) {
  if (mount.device != location.device) return std::nullopt;
  const std::string& root = mount.root.native();
  const std::string& point = mount.mountPoint.native();
  if (isWithin(location.path, root)) return joined(point, below(location.path, root));
  if (isWithin(root, location.path)) return point;
  return std::nullopt;
}

}  // namespace

Location locate(const std::vector<Mount>& mounts, std::string_view path) {
  const Mount* mount = mountOf(mounts, path);
  if (mount == nullptr) return {};
  return {mount->device, joined(mount->root.native(), below(path, mount->mountPoint.native()))};
}

std::vector<std::string> placesOf(const Location& location, const std::vector<Mount>& mounts) {
  std::vector<std::string> places;
  for (const Mount& mount : mounts) {
    auto place = placeIn(mount, location);
    // Under another mount the same path means something else.
    if (place && mountOf(mounts, *place) == &mount) places.push_back(*std::move(place));
  }
  return places;
}

bool isWithin(std::string_view path, std::string_view folder) {
  if (!path.starts_with(folder)) return false;
  return path.size() == folder.size() || folder == "/" || path[folder.size()] == '/';
}

}  // namespace tavrine
