#pragma once

#include <optional>

#include "platform/paths.h"

namespace tavrine {

/// What a sync service says of a file of its own.
enum class CloudStatus { current, downloaded, notDownloaded };

/// What the platform knows of a file that a sync service may manage.
struct CloudItem {
  bool isUbiquitous = false;  ///< the service manages it
  std::optional<CloudStatus> status = std::nullopt;
};

/// Nothing known where it cannot be asked. Never fails.
CloudItem cloudItem(const Path& url);

/// Asks the service to bring a file's contents to this disk. Whether it took the request; false where the platform has
/// no such service.
bool startCloudDownload(const Path& url);

}  // namespace tavrine
