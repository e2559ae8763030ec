#pragma once

#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/opened_folder.h"
#include "platform/paths.h"

namespace tavrine {

/// What is done at each place of a tree. Several threads call at once.
class TreeVisitor {
 public:
  TreeVisitor() = default;
  TreeVisitor(const TreeVisitor&) = delete;
  TreeVisitor& operator=(const TreeVisitor&) = delete;
  virtual ~TreeVisitor() = default;

  virtual void enter(const OpenedFolder& folder) = 0;
  /// Something in `folder` that is none itself. 0 or an errno, as of `leave`.
  virtual int visit(int folder, const char* name) = 0;
  /// After all that is in the folder `name`.
  virtual int leave(int above, const char* name) = 0;
  virtual void failed(const Path& path, int error) = 0;
};

/// Goes through a tree by descriptors alone, so that a link planted on the way leads nowhere. Works in several threads
/// where the tree is large; a few descriptors per thread serve any depth and any number of files. After a failure it
/// goes on with the rest.
class TreeDescent final {
 public:
  /// Goes into the folder `name` of the open folder `above`; `path` is what `failed` calls that one.
  static void run(TreeVisitor& visitor, const Bounds& bounds, FileDescriptor above, const std::string& name,
                  const Path& path);

 private:
  struct Shared {
    TreeVisitor& visitor;
    const Bounds bounds;
    std::atomic<int> helpers = 0;
  };

  /// A folder on the way down, and what is left to do in it.
  struct Level {
    std::string name;
    FileDescriptor fd;  ///< closed while the descent is far below
    uint64_t inode;
    dev_t device;
    std::vector<std::string> folders;
    std::vector<std::future<void>> helpers;  ///< at work on others of its folders
  };

  TreeDescent(Shared& shared, Path path, FileDescriptor top, std::vector<std::string> folders);

  void run();
  void enter(const std::string& name);
  void list(Level& level);
  void leave();
  void goBackTo(Level& level, const Level& below);
  void abandon();
  void share();
  void startHelper(size_t depth);
  Path pathOf(size_t depth) const;
  void report(const std::string& name, int error) const;
  static void waitForHelpers(Level& level);

  Shared& shared_;
  const Path path_;
  std::vector<Level> levels_;
  size_t visitedSinceShared_ = 0;
};

}  // namespace tavrine
