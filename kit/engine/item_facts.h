#pragma once

#include <cstdint>

#include "platform/paths.h"

namespace tavrine {

/// What the lock policy has to know of an item.
struct ItemFacts {
  bool exists = false;  ///< its attributes could be read
  bool isSymlink = false;
  bool isVolumeRoot = false;
  bool isNetworkVolume = false;
  int64_t size = 0;  ///< bytes on disk, as `allocatedSize` gives them; 0 for a link and for what is missing

  /// Looks at the item itself: a link at its end is not followed. Never fails.
  static ItemFacts inspect(const Path& url);

  /// The bytes that a file, or all regular files below a folder, take on disk. What cannot be read counts as 0.
  static int64_t allocatedSize(const Path& url);

  /// The bytes that they hold. What cannot be read counts as 0.
  static int64_t logicalSize(const Path& url);

  bool operator==(const ItemFacts&) const = default;
};

}  // namespace tavrine
