#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "platform/cloud_item.h"
#include "platform/paths.h"

namespace tavrine {

/// Files whose contents are in a cloud and not on this disk. Keeps no state, reports no error: what cannot be asked
/// needs no download.
class CloudFiles final {
 public:
  CloudFiles() = delete;

  using Status = CloudStatus;

  static bool needsDownload(std::string_view name, bool isUbiquitous, std::optional<Status> status);

  /// The item itself or what is below it, as far as it needs a download, in the order of the walk.
  static std::vector<Path> notDownloaded(const Path& url);

  /// Asks the service for each of them; what it refuses is left alone.
  static void requestDownload(const std::vector<Path>& urls);

  /// The file that is asked for: the one a placeholder stands for, else the file itself.
  static Path downloadTarget(const Path& url);
};

}  // namespace tavrine
