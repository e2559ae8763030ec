#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/mount_table.h"

namespace tavrine {

/// A place by file system instead of by path, so that it is the same through every mount and in every mount namespace.
struct Location {
  std::string device;  ///< "major:minor"
  std::string path;    ///< within the file system
};

/// Where the absolute `path` lies. The device is empty where no mount of `mounts` holds the path.
Location locate(const std::vector<Mount>& mounts, std::string_view path);

/// Every path at which `location`, or a part of it that is mounted by itself, can be reached through `mounts`.
std::vector<std::string> placesOf(const Location& location, const std::vector<Mount>& mounts);

/// Whether `path` is `folder` or lies below it, by components: "/a/bc" is not within "/a/b".
bool isWithin(std::string_view path, std::string_view folder);

}  // namespace tavrine
