#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <optional>

#include "platform/linux/file_descriptor.h"

namespace tavrine {

/// The part of the file system that a descent may not leave.
struct Bounds {
  uint64_t mount = 0;  ///< a bind mount has the device of what it shows, so only the mount's number tells it apart
  std::optional<dev_t> device = std::nullopt;  ///< any where absent

  /// 0, or the errno that tells why `status` is outside.
  int check(const struct statx& status) const;
};

/// The status of what an open descriptor, or a name in a folder, is: a link not followed. Nothing, with errno set,
/// where it cannot be had.
std::optional<struct statx> extendedStatus(int folder, const char* name);

dev_t deviceOf(const struct statx& status);

/// A folder to go into. Its identity is that of the descriptor, whatever its name leads to by now.
struct OpenedFolder {
  FileDescriptor fd;
  struct statx status;
};

/// Opens a folder by its name in an open one: no link, nothing outside `bounds`. Where the owner's rights are missing
/// they are given. `beforeRights` gets the descriptor first. Nothing, with errno set, where it cannot be opened.
std::optional<OpenedFolder> openFolderIn(int above, const char* name, const Bounds& bounds,
                                         const std::function<void(const OpenedFolder&)>& beforeRights);

}  // namespace tavrine
