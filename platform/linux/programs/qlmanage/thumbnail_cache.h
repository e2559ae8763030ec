#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "platform/paths.h"

namespace tavrine {

/// Where the desktop keeps the thumbnails of this user. Nothing where the user has no home folder.
std::optional<Path> thumbnailCache();

/// What was not removed, and why ("Permission denied").
using ReportFailure = std::function<void(const Path& path, std::string_view reason)>;

/// Removes every file in `folder` and the folders below it; the folders stay. A link is removed like a file, never
/// followed, and nothing on a file system mounted below is touched. Goes on after a failure. Where `folder` is missing
/// there is nothing to do; where it is a link or no folder, nothing is done but to report that.
void emptyCache(const Path& folder, const ReportFailure& reportFailure);

}  // namespace tavrine
