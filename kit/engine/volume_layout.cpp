#include "kit/engine/volume_layout.h"

namespace tavrine {

const std::set<std::string, std::less<>>& VolumeLayout::housekeeping() {
  static const std::set<std::string, std::less<>> names = {
      ".DocumentRevisions-V100", ".TemporaryItems",       ".Trashes",  ".fseventsd",
      ".Spotlight-V100",         ".metadata_never_index", ".DS_Store", std::string(markerName),
  };
  return names;
}

}  // namespace tavrine
