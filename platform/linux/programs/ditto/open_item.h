#pragma once

#include <string>

#include "platform/linux/file_descriptor.h"

namespace tavrine {

/// A file, folder or other item of the file system, held open. What must not be opened for its contents (a link, a
/// fifo, a device) is held by a descriptor that only names it; such an item is reached through `path`, whose last step
/// the kernel takes by the descriptor, never by a name or a link's target.
class OpenItem final {
 public:
  /// Opened for reading or writing.
  static OpenItem opened(int fd) { return {fd, ""}; }

  /// Opened with O_PATH.
  static OpenItem named(int fd) { return {fd, "/proc/self/fd/" + std::to_string(fd)}; }

  int fd() const { return fd_; }
  bool isNamedOnly() const { return !path_.empty(); }
  const char* path() const { return path_.c_str(); }

 private:
  OpenItem(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}

  int fd_;  ///< not owned
  std::string path_;
};

}  // namespace tavrine
