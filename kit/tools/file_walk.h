#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/file_status.h"
#include "platform/paths.h"

namespace tavrine {

/// Goes through everything below a folder, in pre-order, each folder in the order the file system lists it. Symbolic
/// links are visited, not followed; mounted volumes are entered. Keeps no state; any thread may call it.
class FileWalk final {
 public:
  FileWalk() = delete;

  /// One item below the root. A folder that cannot be read is visited twice: as a folder, then with its `problem`.
  struct Entry {
    std::string relativePath;  ///< from the root, in UTF-8: what is none is U+FFFD
    FileStatus info;           ///< of the item itself; all zero where it could not be read
    bool isDirectory = false;
    std::optional<int32_t> problem;  ///< errno, where the item or the folder could not be read
    std::string rawPath;             ///< the root's path with the item's real bytes behind it: what opens the item

    /// The last component of `relativePath`.
    std::string name() const;
  };

  /// `skipDescendants` leaves out what is in the folder, and means nothing for other items.
  enum class Next { descend, skipDescendants };

  /// Ends a walk whose root cannot be read or that cannot go on.
  class WalkError final : public std::exception {
   public:
    WalkError(std::string path, int32_t code);

    const std::string& path() const { return path_; }  ///< of the root
    int32_t code() const { return code_; }             ///< errno

    /// The message for the user, in UTF-8.
    const std::string& errorDescription() const { return message_; }
    const char* what() const noexcept override { return message_.c_str(); }

   private:
    std::string path_;
    int32_t code_;
    std::string message_;
  };

  using Visitor = std::function<Next(const Entry&)>;

  /// Shows the visitor every item below `root`, never the root. Throws `WalkError`, or what the visitor throws.
  static void walk(const Path& root, const Visitor& visitor);

  /// The `relativePath` of every entry, in the order of the walk.
  static std::vector<std::string> relativePaths(const Path& root);
};

}  // namespace tavrine
