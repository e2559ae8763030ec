#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "platform/file_status.h"
#include "platform/paths.h"

namespace tavrine {

/// Goes through a file tree in pre-order, each folder in the order the file system lists it. Follows no link, enters
/// mounted volumes. Remembers the folders above the present place and lists one folder at a time. For one thread.
class FileTree final {
 public:
  enum class Visit {
    folder,            ///< before its contents
    folderAgain,       ///< after its contents
    unreadableFolder,  ///< in place of its contents: the folder itself was visited before
    noStatus,
    other,
  };

  struct Step {
    Visit visit;
    bool isRoot;
    std::string_view path;  ///< the root's path with what leads on from there; any bytes; good until the next step
    FileStatus status;
    int32_t error;  ///< errno; of `unreadableFolder` and `noStatus` alone
  };

  /// Throws nothing for what the disk says: a root that does not exist shows in the first step.
  explicit FileTree(const Path& root);
  FileTree(const FileTree&) = delete;
  FileTree& operator=(const FileTree&) = delete;
  ~FileTree();

  /// The next step; nothing at the end.
  std::optional<Step> next();

  /// Leaves out the contents of the folder of the last step.
  void skipContents();

 private:
  struct Walker;

  std::unique_ptr<Walker> walker_;
};

}  // namespace tavrine
