#pragma once

#include <string>
#include <string_view>

#include "platform/paths.h"

namespace tavrine {

/// Creates `directory` and what is missing above it, with the usual permissions; an existing one is fine. A failure is
/// a `std::filesystem::filesystem_error`.
void createDirectories(const Path& directory);

/// The whole content of the regular file at `path` (links followed). Throws `std::filesystem::filesystem_error`, also
/// for anything that is not a regular file, so that a fifo never blocks the caller.
std::string readFile(const Path& path);

/// Puts `bytes` at `path` in one step: a reader, and a power cut, find the old file or the new one, never a part. The
/// file is 0600 from its first moment. When this returns, file and name are on disk. On failure, a
/// `std::filesystem::filesystem_error`, the old file is as it was and nothing is left beside it.
void replaceFile(const Path& path, std::string_view bytes);

}  // namespace tavrine
