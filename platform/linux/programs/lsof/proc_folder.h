#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/file_descriptor.h"

namespace tavrine {

/// A folder of /proc, held open: when its process ends, no later one with the same number is read in its place.
/// What has vanished or is out of this user's reach is nothing. Whatever else fails throws `std::system_error`, because
/// an answer without it would be incomplete. One thread at a time.
class ProcFolder final {
 public:
  static std::optional<ProcFolder> open(const std::string& path);

  /// The folder `name` in this one.
  std::optional<ProcFolder> folder(const std::string& name) const;

  /// The whole of the file `name`.
  std::optional<std::string> content(const std::string& name) const;

  /// Where the link `name` leads, in bytes. The kernel tells no path of more than 4095 bytes: that is nothing too.
  std::optional<std::string> link(const std::string& name) const;

  /// The file that the link `name` leads to. Asks the file system of that file, so only for those that are to be
  /// expected alive.
  std::optional<struct stat> statusThrough(const std::string& name) const;

  /// What is in the folder, without "." and "..".
  std::vector<std::string> names() const;

 private:
  explicit ProcFolder(FileDescriptor fd) : fd_(std::move(fd)) {}

  static std::optional<ProcFolder> openAt(int parent, const std::string& name);

  FileDescriptor fd_;
};

}  // namespace tavrine
