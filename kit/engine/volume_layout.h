#pragma once

#include <set>
#include <string>
#include <string_view>

#include "kit/records/item_marker.h"
#include "kit/records/locked_item.h"
#include "platform/paths.h"

namespace tavrine {

/// Where an item is in its image's volume, and which names there are no content of it.
class VolumeLayout final {
 public:
  VolumeLayout() = delete;

  using Names = std::set<std::string, std::less<>>;

  static constexpr std::string_view markerName = ItemMarker::fileName;
  static constexpr std::string_view neverIndexName = ".metadata_never_index";

  /// The marker, and what the file system or the desktop puts at the volume's root.
  static const Names& housekeeping();

  /// What does not count at the root of the item: a folder is the volume itself, a file lies in it.
  static const Names& ignoredAtRoot(LockedItem::Kind kind);

  /// Where the item is in the volume at `mountPoint`.
  static Path contents(const Path& mountPoint, LockedItem::Kind kind, const std::string& name);
};

}  // namespace tavrine
