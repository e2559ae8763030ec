#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// What is known of the volume an item is on; nothing of what cannot be asked.
struct VolumeFacts {
  std::optional<bool> isRoot;   ///< whether the item is the volume's root
  std::optional<bool> isLocal;  ///< whether the volume is on this machine
};

VolumeFacts volumeFacts(const Path& url);

/// The bytes free for this user on the volume of `url`.
std::optional<int64_t> availableCapacity(const Path& url);

/// The number of the device that `path`, links followed, is on; nothing where it cannot be examined.
std::optional<uint64_t> deviceOf(const Path& path);

/// Makes all that was written to the volume of `path` durable. Throws `std::filesystem::filesystem_error`.
void syncVolume(const Path& path);

/// Whether a volume is mounted at `url` whose server has died: nothing there can be reached until it is detached.
bool isDeadMount(const Path& url);

/// Every mount at or below the resolved path `folder`, as the kernel has them. Throws
/// `std::filesystem::filesystem_error` where there is no table to read.
std::vector<Path> mountPointsAtOrBelow(const Path& folder);

}  // namespace tavrine
