#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/paths.h"

namespace tavrine {

/// Creates `directory` and what is missing above it, with the usual permissions, and makes the new names durable as far
/// as the folders above can be synced; an existing directory is fine. A failure is a
/// `std::filesystem::filesystem_error`.
void createDirectories(const Path& directory);

/// The most that `readFile` takes in, in bytes: far more than any record of ours, far less than what would exhaust the
/// memory.
inline constexpr size_t largestFileRead = 64'000'000;

/// The whole content of the regular file at `path` (links followed). Throws `std::filesystem::filesystem_error`, also
/// for a file larger than `largestFileRead` and for anything that is not a regular file, so that neither a huge file
/// nor a fifo stops the caller.
std::string readFile(const Path& path);

/// Puts `bytes` at `path` in one step: a reader, and a power cut, find the old file or the new one, never a part. The
/// file is 0600 from its first moment. When this returns, file and name are on disk. On failure, a
/// `std::filesystem::filesystem_error`, nothing is left beside the file and the old one is as it was; only where the
/// very last step fails, the sync of the folder, the new file is in its place already.
void replaceFile(const Path& path, std::string_view bytes);

/// Puts `bytes` into the file at `path`, in place of what it holds; one that is new gets the usual permissions. A link
/// at its end is not followed. Neither atomic nor durable. Throws `std::filesystem::filesystem_error`.
void writeFile(const Path& path, std::string_view bytes);

}  // namespace tavrine
