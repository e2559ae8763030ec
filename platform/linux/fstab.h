#pragma once

#include <string_view>
#include <vector>

#include "platform/linux/mount_table.h"
#include "platform/paths.h"

namespace tavrine {

/// The mount points that a text in the form of /etc/fstab names, escapes undone, without "/" and without lines that
/// mount nothing at a place (swap).
std::vector<Path> fstabMountPoints(std::string_view text);

/// Whether `folder` is at or below a place that such a text names, or where an automount waits, and none of `mounts`
/// brings what is to be there.
bool awaitsMount(const Path& folder, std::string_view fstabText, const std::vector<Mount>& mounts);

}  // namespace tavrine
