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

FileDescriptor openAt(int folder, const Path& path, int flags, mode_t mode = 0) {
  for (;;) {
    FileDescriptor file(::openat(folder, path.c_str(), flags | O_CLOEXEC, mode));
    if (file.isOpen() || errno != EINTR) return file;
  }
}

FileDescriptor openFolder(const Path& folder) {
  return openAt(AT_FDCWD, folder, O_RDONLY | O_DIRECTORY);
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

/// Appends what one read brings; false at the end of the file.
bool readMore(const FileDescriptor& file, std::string& content, const Path& path) {
  constexpr size_t chunk = 65536;
  const size_t length = content.size();
  content.resize(length + chunk);
  const ssize_t count = ::read(file.get(), content.data() + length, chunk);
  content.resize(length + (count > 0 ? static_cast<size_t>(count) : 0));
  if (count < 0 && errno != EINTR) fail("cannot read", path);
  return count != 0;
}

Path folderOf(const Path& path) {
  return path.has_parent_path() ? path.parent_path() : Path(".");
}

/// A new file in the folder of the one it is to replace; gone again unless it has.
class Replacement final {
 public:
  explicit Replacement(const Path& target)
      : target_(target), name_(".tavrine-" + Uuid::random().text() + ".tmp"), folder_(openFolder(folderOf(target))) {
    // Opened before anything is written: a folder that cannot be synced must not get a new file.
    if (!folder_.isOpen()) fail("cannot open the folder of", target);
    file_ = openAt(folder_.get(), name_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (!file_.isOpen()) fail("cannot create a file beside", target);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    // The error that brought us here is the one to report.
    if (file_.isOpen() || isStored_) (void)::unlinkat(folder_.get(), name_.c_str(), 0);
  }

  void store(std::string_view bytes) {
    writeAll(file_, bytes, target_);
    if (::fsync(file_.get()) != 0) fail("cannot sync", target_);
    isStored_ = true;
    if (!file_.close()) fail("cannot close", target_);
  }

  void putInPlace() {
    if (::renameat(folder_.get(), name_.c_str(), AT_FDCWD, target_.c_str()) != 0) fail("cannot replace", target_);
    isStored_ = false;
    if (::fsync(folder_.get()) != 0) fail("cannot sync the folder of", target_);
  }

 private:
  const Path target_;
  const std::string name_;
  const FileDescriptor folder_;
  FileDescriptor file_;
  bool isStored_ = false;
};

}  // namespace

void createDirectories(const Path& directory) {
  const Path folder = withoutSlashAtEnd(directory);
  if (folder.empty() || std::filesystem::is_directory(folder)) return;
  createDirectories(folder.parent_path());
  std::filesystem::create_directory(folder);
  const FileDescriptor parent = openFolder(folderOf(folder));
  if (parent.isOpen()) (void)::fsync(parent.get());  // the folder is there; only its durability is in doubt
}

std::string readFile(const Path& path) {
  // Opening a fifo for reading waits for a writer unless it is opened so.
  const FileDescriptor file = openAt(AT_FDCWD, path, O_RDONLY | O_NONBLOCK);
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) fail("cannot read", path);
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    fail("cannot read", path);
  }
  std::string content;
  while (readMore(file, content, path)) {
    if (content.size() <= largestFileRead) continue;
    errno = EFBIG;
    fail("cannot read", path);
  }
  return content;
}

void writeFile(const Path& path, std::string_view bytes) {
  // Not waiting: a fifo that nobody reads is an error, not a place to stop at.
  FileDescriptor file = openAt(AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK, 0666);
  if (!file.isOpen()) fail("cannot write", path);
  writeAll(file, bytes, path);
  if (!file.close()) fail("cannot close", path);
}

void replaceFile(const Path& path, std::string_view bytes) {
  Replacement replacement(path);
  replacement.store(bytes);
  replacement.putInPlace();
}

}  // namespace tavrine
