#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <mutex>
#include <optional>

#include "platform/file_items.h"
#include "platform/linux/tree_descent.h"

namespace tavrine {
namespace {

[[noreturn]] void fail(const Path& path, int error) {
  throw std::filesystem::filesystem_error("cannot remove", path, std::error_code(error, std::generic_category()));
}

class Removal final : public TreeVisitor {
 public:
  void enter(const OpenedFolder&) override {}
  int visit(int folder, const char* name) override { return unlink(folder, name, 0); }
  int leave(int above, const char* name) override { return unlink(above, name, AT_REMOVEDIR); }

  void failed(const Path& path, int error) override {
    const std::lock_guard lock(lock_);
    if (!failure_) failure_ = {path, error};
  }

  void throwFailure() const {
    if (failure_) fail(failure_->path, failure_->error);
  }

 private:
  struct Failure {
    Path path;
    int error;
  };

  /// What is gone already was not kept from being removed.
  static int unlink(int folder, const char* name, int flags) {
    return ::unlinkat(folder, name, flags) == 0 || errno == ENOENT ? 0 : errno;
  }

  std::mutex lock_;
  std::optional<Failure> failure_;
};

}  // namespace

void removeItem(const Path& path) {
  const Path item = withoutSlashAtEnd(path);
  const std::string name = item.filename();
  if (name.empty() || name == "." || name == "..") fail(path, EINVAL);
  const Path folder = item.has_parent_path() ? item.parent_path() : Path(".");
  FileDescriptor above(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const auto around = above.isOpen() ? extendedStatus(above.get(), "") : std::nullopt;
  const auto status = around ? extendedStatus(above.get(), name.c_str()) : std::nullopt;
  if (!status) fail(path, errno);
  if (!S_ISDIR(status->stx_mode)) {
    if (::unlinkat(above.get(), name.c_str(), 0) != 0) fail(path, errno);
    return;
  }
  Removal removal;
  TreeDescent::run(removal, {.mount = around->stx_mnt_id}, std::move(above), name, folder);
  removal.throwFailure();
}

}  // namespace tavrine
