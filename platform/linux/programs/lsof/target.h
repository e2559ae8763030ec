#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/programs/lsof/location.h"
#include "platform/linux/programs/lsof/proc_folder.h"

namespace tavrine {

/// What is searched for: one file or folder, alone or with all below it. The tree is never descended: it is recognised
/// by the paths that the kernel gives for what processes hold, whatever its size. One thread at a time.
class Target final {
 public:
  enum class Extent { itself, tree };
  enum class Match { none, itself, below };

  /// Throws `std::system_error` where nothing is at `path`. What is there but cannot be looked at (its file system is
  /// dead, a folder above it is closed to this user) is searched for by its path alone.
  Target(const std::string& path, Extent extent);

  /// The paths at which `process` sees the target: others than ours where it is mounted twice, or mounts were changed
  /// for that process. Null where the process is out of reach.
  const std::vector<std::string>* placesSeenBy(const ProcFolder& process);

  /// Whether `path`, as a link in /proc shows it, is that of the target.
  Match match(std::string_view path, const std::vector<std::string>& places) const;

  /// Whether that is the target itself, whatever its name; the texts are as /proc/PID/maps and /proc/PID/fdinfo write
  /// them.
  bool isFile(const struct stat& status) const;
  bool isFile(std::string_view device, std::string_view inode) const { return isInode(inode) && device == device_; }
  bool isInode(std::string_view inode) const { return status_ && inode == inode_; }

  /// Whether the target is to be recognised under its other names too: a file has those, a tree is known by its path.
  bool hasOtherNames() const { return status_ && extent_ == Extent::itself; }

 private:
  const Extent extent_;
  std::optional<struct stat> status_;
  std::string device_;
  std::string inode_;
  Location location_;
  std::map<std::string, std::vector<std::string>> places_;  ///< by mount namespace
};

}  // namespace tavrine
