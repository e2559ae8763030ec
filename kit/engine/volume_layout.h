#pragma once

#include <set>
#include <string>
#include <string_view>

#include "kit/records/item_marker.h"

namespace tavrine {

/// The names at the root of an image's volume that are no content of the item.
class VolumeLayout final {
 public:
  VolumeLayout() = delete;

  static constexpr std::string_view markerName = ItemMarker::fileName;

  /// The marker, and what the file system or the desktop puts there.
  static const std::set<std::string, std::less<>>& housekeeping();
};

}  // namespace tavrine
