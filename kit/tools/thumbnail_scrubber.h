#pragma once

#include "platform/paths.h"
#include "platform/system.h"

namespace tavrine {

/// Clears the desktop's cache of file previews, which may show what is locked now. Keeps no state; any thread may call
/// it.
class ThumbnailScrubber final {
 public:
  ThumbnailScrubber() = delete;

  /// Whether the cache was cleared. Takes about 20 seconds at most; reports no error.
  static bool reset(const Path& qlmanage = toolPath("qlmanage"));
};

}  // namespace tavrine
