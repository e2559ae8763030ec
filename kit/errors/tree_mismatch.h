#pragma once

#include <string>

#include "platform/text.h"

namespace tavrine {

/// One difference between two trees.
struct TreeMismatch {
  std::string path;    ///< relative to the tree's root; empty for the root itself
  std::string reason;  ///< one of the tree verifier's reasons

  /// "path: reason" in UTF-8, the root named "(root)".
  std::string description() const { return repairedUtf8((path.empty() ? "(root)" : path) + ": " + reason); }

  bool operator==(const TreeMismatch&) const = default;
};

}  // namespace tavrine
