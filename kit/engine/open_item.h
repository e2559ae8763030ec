#pragma once

#include <string>

#include "kit/records/locked_item.h"
#include "platform/paths.h"
#include "platform/uuid.h"

namespace tavrine {

/// An unlocked item: its image is attached. A plain value, equal field by field.
struct OpenItem {
  Uuid id;         ///< the record's; also the name of the mount point's folder
  Path lockedURL;  ///< the locked image
  Path mountPoint;
  LockedItem::Kind kind;
  std::string name;  ///< the item's name, as shown and as it is in the volume; any bytes

  /// Where the contents are: the volume itself for a folder, the one file in it for a file.
  Path contentURL() const { return kind == LockedItem::Kind::folder ? mountPoint : mountPoint / name; }

  bool operator==(const OpenItem&) const = default;
};

}  // namespace tavrine
