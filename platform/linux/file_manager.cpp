#include "platform/file_manager.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "platform/linux/file_descriptor.h"
#include "platform/uuid.h"

namespace tavrine {
namespace {

[[noreturn]] void fail(const char* what, const Path& path) {
  throw std::filesystem::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
}

int openRetrying(const Path& path, int flags, mode_t mode = 0) {
  for (;;) {
    const int fd = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    if (fd >= 0 || errno != EINTR) return fd;
  }
}

void writeAll(const FileDescriptor& file, std::string_view bytes, const Path& path) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<size_t>(count));
    } else if (errno != EINTR) {
      fail("cannot write", path);
    }
  }
}

void syncFolder(const Path& folder) {
  const FileDescriptor fd(openRetrying(folder, O_RDONLY | O_DIRECTORY));
  if (!fd.isOpen() || ::fsync(fd.get()) != 0) fail("cannot sync folder", folder);
}

/// A file that is gone again unless it was kept.
class TemporaryFile final {
 public:
  explicit TemporaryFile(const Path& folder) : path_(folder / (".tavrine-" + Uuid::random().text() + ".tmp")) {
    file_ = FileDescriptor(openRetrying(path_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file_.isOpen()) fail("cannot create", path_);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!kept_) (void)::unlink(path_.c_str());  // the error that brought us here is the one to report
  }

  void store(std::string_view bytes) {
    writeAll(file_, bytes, path_);
    if (::fsync(file_.get()) != 0) fail("cannot sync", path_);
    if (!file_.close()) fail("cannot close", path_);
  }

  void moveOver(const Path& target) {
    if (::rename(path_.c_str(), target.c_str()) != 0) fail("cannot replace", target);
    kept_ = true;
  }

 private:
  Path path_;
  FileDescriptor file_;
  bool kept_ = false;
};

Path folderOf(const Path& path) {
  return path.has_parent_path() ? path.parent_path() : Path(".");
}

}  // namespace

void createDirectories(const Path& directory) {
  std::filesystem::create_directories(directory);
}

std::string readFile(const Path& path) {
  // Opening a fifo for reading waits for a writer unless it is opened so.
  const FileDescriptor file(openRetrying(path, O_RDONLY | O_NONBLOCK));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) fail("cannot read", path);
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    fail("cannot read", path);
  }
  std::string content;
  for (;;) {
    constexpr size_t chunk = 65536;
    const size_t length = content.size();
    content.resize(length + chunk);
    const ssize_t count = ::read(file.get(), content.data() + length, chunk);
    content.resize(length + (count > 0 ? static_cast<size_t>(count) : 0));
    if (count == 0) return content;
    if (count < 0 && errno != EINTR) fail("cannot read", path);
  }
}

void replaceFile(const Path& path, std::string_view bytes) {
  TemporaryFile temporary(folderOf(path));
  temporary.store(bytes);
  temporary.moveOver(path);
  syncFolder(folderOf(path));
}

}  // namespace tavrine
