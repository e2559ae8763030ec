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
    error,
    noStatus,
    other,
  };

  struct Step {
    Visit visit;
    bool isRoot;
    std::string_view path;  ///< the root's path with what leads on from there; any bytes; good until the next step
    FileStatus status;
    int32_t error;  ///< errno; of `unreadableFolder`, `error` and `noStatus` alone
  };

  /// Throws nothing for what the disk says: a root that does not exist shows in the first step, any other failure in
  /// `error`.
  explicit FileTree(const Path& root);
  FileTree(const FileTree&) = delete;
  FileTree& operator=(const FileTree&) = delete;
  ~FileTree();

  /// The next step; nothing at the end and where the walk cannot go on.
  std::optional<Step> next();

  /// Why `next` gave nothing (errno); 0 when that was the end.
  int32_t error() const { return error_; }

  /// Leaves out the contents of the folder of the last step.
  void skipContents();

 private:
  struct Walker;

  std::unique_ptr<Walker> walker_;
  int32_t error_ = 0;
};

}  // namespace tavrine
