#pragma once

#include <cstdint>
#include <optional>

#include "platform/paths.h"

namespace tavrine {

/// What tells a file from every other on its volume, wherever it was moved there: the inode number alone is used again
/// after a deletion, so the time of birth (or another number that stays with the file, where the file system keeps
/// none) goes with it.
struct FileIdentity {
  uint64_t inode = 0;
  int64_t birthSeconds = 0;
  int64_t birthNanoseconds = 0;

  /// Of the item itself, a link not followed; nothing where it cannot be examined.
  static std::optional<FileIdentity> of(const Path& path);

  bool operator==(const FileIdentity&) const = default;
};

}  // namespace tavrine
