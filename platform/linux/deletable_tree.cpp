#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "platform/file_items.h"
#include "platform/linux/tree_descent.h"

namespace tavrine {
namespace {

constexpr uint64_t forbidding = STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND;

void clearFlags(const FileDescriptor& file) {
  int flags = 0;
  if (::ioctl(file.get(), FS_IOC_GETFLAGS, &flags) != 0) return;
  flags &= ~(FS_IMMUTABLE_FL | FS_APPEND_FL);
  (void)::ioctl(file.get(), FS_IOC_SETFLAGS, &flags);  // the removal tells what could not be changed
}

class DeletableTree final : public TreeVisitor {
 public:
  explicit DeletableTree(const Bounds& bounds) : bounds_(bounds) {}

  void enter(const OpenedFolder& folder) override {
    if ((folder.status.stx_attributes & forbidding) != 0) clearFlags(folder.fd);
  }

  /// Only regular files have flags that can be reached without disturbing a device or a fifo.
  int visit(int folder, const char* name) override {
    const auto status = extendedStatus(folder, name);
    if (!status || !isToBeCleared(*status)) return 0;
    const FileDescriptor file(::openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    const auto opened = file.isOpen() ? extendedStatus(file.get(), "") : std::nullopt;
    if (opened && isToBeCleared(*opened)) clearFlags(file);
    return 0;
  }

  int leave(int, const char*) override { return 0; }
  void failed(const Path&, int) override {}

 private:
  bool isToBeCleared(const struct statx& status) const {
    return S_ISREG(status.stx_mode) && status.stx_nlink == 1 && (status.stx_attributes & forbidding) != 0 &&
           bounds_.check(status) == 0;
  }

  const Bounds bounds_;
};

}  // namespace

void makeTreeDeletable(const Path& path) {
  const Path item = withoutSlashAtEnd(path);
  const Path folder = item.has_parent_path() ? item.parent_path() : Path(".");
  FileDescriptor above(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const std::string name = item.filename();
  const auto root = above.isOpen() && !name.empty() ? extendedStatus(above.get(), name.c_str()) : std::nullopt;
  if (!root) return;
  const Bounds bounds{.mount = root->stx_mnt_id, .device = deviceOf(*root)};
  DeletableTree tree(bounds);
  if (S_ISDIR(root->stx_mode)) {
    TreeDescent::run(tree, bounds, std::move(above), name, folder);
  } else {
    (void)tree.visit(above.get(), name.c_str());  // never a failure
  }
}

}  // namespace tavrine
