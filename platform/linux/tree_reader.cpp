#include "platform/tree_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/open_below.h"
#include "platform/linux/posix_status.h"

namespace tavrine {
namespace {

/// From this size on the kernel is told to read further ahead; below it one or two reads take the whole file.
constexpr int64_t readAheadBytes = 1 << 20;

[[noreturn]] void fail(const Path& path, int error) {
  throw std::filesystem::filesystem_error("Could not read", path, std::error_code(error, std::generic_category()));
}

FileStatus statusOfOpen(int descriptor, const Path& path) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) fail(path, errno);
  return fileStatusOf(status);
}

std::string targetOf(int link, const Path& path) {
  std::string target(PATH_MAX, '\0');
  const ssize_t length = ::readlinkat(link, "", target.data(), target.size());
  if (length < 0) fail(path, errno);
  target.resize(static_cast<size_t>(length));
  return target;
}

/// "." can be looked up only in a folder that can be searched, so both rights are asked of the folder itself.
bool canEnter(int folder) {
  return ::faccessat(folder, ".", R_OK | X_OK, AT_EACCESS) == 0;
}

bool isSame(const FileStatus& one, const FileStatus& other) {
  return one.device == other.device && one.inode == other.inode;
}

}  // namespace

ReadableFile::ReadableFile(int descriptor, FileStatus status, Path path)
    : descriptor_(descriptor), status_(status), path_(std::move(path)) {}

ReadableFile::ReadableFile(ReadableFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), status_(other.status_), path_(std::move(other.path_)) {}

ReadableFile::~ReadableFile() {
  if (descriptor_ >= 0) (void)::close(descriptor_);  // it was only read
}

size_t ReadableFile::read(std::span<std::byte> buffer) {
  while (true) {
    const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
    if (count >= 0) return static_cast<size_t>(count);
    if (errno != EINTR) fail(path_, errno);
  }
}

TreeReader::TreeReader(const Path& root)
    : root_(withoutSlashAtEnd(root)), descriptor_(::open(root_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {
  if (descriptor_ < 0) fail(root_, errno);
}

TreeReader::~TreeReader() {
  (void)::close(descriptor_);
}  // it was only looked at

Path TreeReader::pathOf(const std::string& relativePath) const {
  return relativePath.empty() ? root_ : root_ / relativePath;
}

TreeReader::Item TreeReader::examine(const std::string& relativePath) const {
  const Path path = pathOf(relativePath);
  const FileDescriptor below(relativePath.empty() ? -1 : openBelow(descriptor_, relativePath, O_PATH));
  if (!relativePath.empty() && !below.isOpen()) fail(path, errno);
  const int item = relativePath.empty() ? descriptor_ : below.get();
  const FileStatus status = statusOfOpen(item, path);
  return {.status = status,
          .linkTarget = status.type == FileType::symbolicLink ? targetOf(item, path) : std::string(),
          .canBeEntered = status.type == FileType::folder && canEnter(item)};
}

FileStatus TreeReader::status(const std::string& relativePath) const {
  const Path path = pathOf(relativePath);
  if (relativePath.empty()) return statusOfOpen(descriptor_, path);
  const FileDescriptor item(openBelow(descriptor_, relativePath, O_PATH));
  if (!item.isOpen()) fail(path, errno);
  return statusOfOpen(item.get(), path);
}

ReadableFile TreeReader::open(const std::string& relativePath) const {
  // Without O_NONBLOCK a fifo that takes the file's place in this moment would be waited for.
  constexpr int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY;
  const Path path = pathOf(relativePath);
  FileDescriptor file(relativePath.empty() ? ::open(root_.c_str(), flags | O_NOFOLLOW | O_CLOEXEC)
                                           : openBelow(descriptor_, relativePath, flags));
  if (!file.isOpen()) fail(path, errno);
  const FileStatus status = statusOfOpen(file.get(), path);
  if (status.type != FileType::regular) fail(path, status.type == FileType::folder ? EISDIR : EINVAL);
  if (relativePath.empty() && !isSame(status, statusOfOpen(descriptor_, path))) fail(path, ESTALE);
  // Advice: a file system that does not take it reads all the same.
  if (status.size >= readAheadBytes) (void)::posix_fadvise(file.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
  return ReadableFile(file.release(), status, path);
}

bool TreeReader::isStillInPlace() const {
  struct stat now {};
  return ::lstat(root_.c_str(), &now) == 0 && isSame(fileStatusOf(now), statusOfOpen(descriptor_, root_));
}

}  // namespace tavrine
