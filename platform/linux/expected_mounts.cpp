#include "platform/expected_mounts.h"

#include <algorithm>
#include <filesystem>

#include "platform/file_manager.h"
#include "platform/linux/fstab.h"
#include "platform/linux/mount_table.h"
#include "platform/path_relation.h"

namespace tavrine {
namespace {

constexpr const char* fstabPath = "/etc/fstab";
constexpr const char* automountType = "autofs";

std::vector<Mount> mounts() {
  try {
    return mountTable();
  } catch (const std::filesystem::filesystem_error&) {
    return {};
  }
}

/// Most systems have the file, and one without it expects nothing.
std::string fstab() {
  try {
    return readFile(fstabPath);
  } catch (const std::filesystem::filesystem_error&) {
    return {};
  }
}

/// Where volumes are to appear, as canonical paths.
std::vector<std::string> expectedPlaces(std::string_view fstabText, const std::vector<Mount>& mounts) {
  std::vector<std::string> places;
  for (const Path& place : fstabMountPoints(fstabText)) places.push_back(canonicalPath(place));
  for (const Mount& mount : mounts) {
    if (mount.type == automountType) places.push_back(mount.mountPoint.string());
  }
  return places;
}

}  // namespace

bool awaitsMount(const Path& folder, std::string_view fstabText, const std::vector<Mount>& mounts) {
  const std::string inside = canonicalPath(folder);
  const std::vector<std::string> places = expectedPlaces(fstabText, mounts);
  return std::any_of(places.begin(), places.end(), [&](const std::string& place) {
    // An automount's volumes may appear at it or below it, so any mount between it and the folder will do.
    const auto bringsFolder = [&](const Mount& mount) {
      const std::string mountPoint = mount.mountPoint.string();
      return mount.type != automountType && isAtOrBelow(mountPoint, place) && isAtOrBelow(inside, mountPoint);
    };
    return isAtOrBelow(inside, place) && std::none_of(mounts.begin(), mounts.end(), bringsFolder);
  });
}

bool awaitsMount(const Path& folder) {
  return awaitsMount(folder, fstab(), mounts());
}

}  // namespace tavrine
