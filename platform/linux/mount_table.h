#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// One line of the kernel's mount table, its escapes undone. A plain value.
struct Mount {
  std::string device;   ///< "major:minor", as the files on it report theirs
  Path root;            ///< the part of the file system that is shown: "/" unless it is a bind mount of a subfolder
  Path mountPoint;      ///< where it is now, also after a folder above it was renamed
  std::string options;  ///< of this mount, separated by commas: "rw,nosuid"
  std::string type;     ///< with its subtype: "ext4", "fuse.sshfs"
  std::string source;   ///< what was mounted: a device, a server, a name of its own
  std::string superOptions;  ///< of the file system: "rw,user_id=1000"

  /// The value of `name=value` among the file system's options; empty where it is not there.
  std::string superOption(std::string_view name) const;
};

/// What this process sees mounted, in the kernel's order: of two mounts on one place the later hides the earlier.
/// Throws `std::filesystem::filesystem_error` where there is no table to read.
std::vector<Mount> mountTable();

/// The mounts that a text in the form of /proc/self/mountinfo lists. A line of another form is left out.
std::vector<Mount> parseMountTable(std::string_view text);

/// A field of such a table with its escapes undone: a backslash and three octal digits stand for one byte.
std::string withoutTableEscapes(std::string_view field);

}  // namespace tavrine
