#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "kit/errors/tree_mismatch.h"
#include "kit/tools/cancel_token.h"
#include "platform/paths.h"

namespace tavrine {

/// Compares two trees by content: files by size and SHA-256, links by their target, the rest by type. Names, not
/// permissions, owners or times. Keeps no state; any thread may call it. It never passes over what it cannot read.
class TreeVerifier final {
 public:
  TreeVerifier() = delete;

  struct File {
    int64_t size;        ///< bytes
    std::string digest;  ///< SHA-256 in 64 lower-case hexadecimal digits
    bool operator==(const File&) const = default;
  };
  struct Symlink {
    std::string target;  ///< as it is stored; any bytes
    bool operator==(const Symlink&) const = default;
  };
  struct Other {
    std::string type;
    bool operator==(const Other&) const = default;
  };
  struct Directory {
    bool operator==(const Directory&) const = default;
  };
  /// What one path of a tree holds.
  using Entry = std::variant<File, Symlink, Other, Directory>;

  /// By path relative to the root, in its raw bytes. A root that is no folder stands under the empty path; one that is
  /// has no entry of its own.
  using Manifest = std::map<std::string, Entry>;

  using Names = std::set<std::string, std::less<>>;
  using Cancel = std::shared_ptr<const CancelToken>;

  /// Every difference of `copy` from `reference`, ordered by path; none where they hold the same. `ignoredAtRoot` are
  /// names that do not count directly below the two roots. Throws `copyFailed` for what cannot be read, `cancelled`, or
  /// the system's own error.
  static std::vector<TreeMismatch> compare(const Path& reference, const Path& copy, const Names& ignoredAtRoot,
                                           const Cancel& cancel = nullptr);

  static Manifest manifest(const Path& root, const Names& ignoredAtRoot, const Cancel& cancel = nullptr);
  static Entry entry(const Path& url);

  /// The SHA-256 of a regular file's content, a link at the end not followed.
  static std::string digest(const Path& url);
};

}  // namespace tavrine
