#include "kit/engine/volume_layout.h"

namespace tavrine {

const VolumeLayout::Names& VolumeLayout::housekeeping() {
  static const Names names = {
      ".DocumentRevisions-V100", ".TemporaryItems",           ".Trashes",  ".fseventsd",
      ".Spotlight-V100",         std::string(neverIndexName), ".DS_Store", std::string(markerName),
  };
  return names;
}

const VolumeLayout::Names& VolumeLayout::ignoredAtRoot(LockedItem::Kind kind) {
  static const Names none;
  return kind == LockedItem::Kind::folder ? housekeeping() : none;
}

Path VolumeLayout::contents(const Path& mountPoint, LockedItem::Kind kind, const std::string& name) {
  return kind == LockedItem::Kind::folder ? mountPoint : mountPoint / name;
}

}  // namespace tavrine
