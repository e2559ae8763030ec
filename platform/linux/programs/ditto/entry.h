#pragma once

#include <memory>
#include <string>

#include "platform/linux/programs/ditto/copy_error.h"

namespace tavrine {

class Folder;

/// One thing to copy: its name in an open folder of the source, and the name of its copy in the folder's copy. The tree
/// itself has no folder; its names are the program's two arguments.
struct Entry {
  std::shared_ptr<Folder> folder;
  std::string sourceName;
  std::string destinationName;

  /// What the *at calls take.
  int sourceFolder() const;
  int destinationFolder() const;

  /// Whether its copy is made in a folder that was there before, whose set-group-id bit and default access-control list
  /// must not pass on to it.
  bool mayInherit() const;

  /// The whole path, for messages.
  std::string path(Side side) const;

  /// The path below the tree, without a slash at the start; empty for the tree itself.
  std::string pathInTree() const;
};

}  // namespace tavrine
