#include "platform/file_items.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "platform/linux/directory_stream.h"
#include "platform/linux/file_descriptor.h"
#include "platform/linux/posix_status.h"

namespace tavrine {
namespace {

[[noreturn]] void fail(const char* what, const Path& path) {
  throw std::filesystem::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
}

struct stat statOf(const Path& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) fail("cannot examine", path);
  return status;
}

}  // namespace

bool fileExists(const Path& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

bool isSomethingAt(const Path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

bool isNothingAt(const Path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

FileStatus statusOf(const Path& path) {
  return fileStatusOf(statOf(path));
}

std::string linkTarget(const Path& path) {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
  if (length < 0) fail("cannot read the link", path);
  return {target.data(), static_cast<size_t>(length)};
}

std::vector<std::string> namesIn(const Path& folder) {
  const DirectoryStream stream(::opendir(folder.c_str()));
  if (!stream) fail("cannot list", folder);
  std::vector<std::string> names;
  errno = 0;  // the end and a failure differ in this alone
  while (const dirent* entry = ::readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  if (errno != 0) fail("cannot list", folder);
  return names;
}

void createFolder(const Path& folder, uint32_t mode) {
  if (::mkdir(folder.c_str(), mode) != 0) fail("cannot create", folder);
}

bool removeEmptyFolder(const Path& folder) {
  return ::rmdir(folder.c_str()) == 0;
}

void copyLink(const Path& source, const Path& destination) {
  const struct stat status = statOf(source);
  const std::string target = linkTarget(source);
  if (::symlink(target.c_str(), destination.c_str()) != 0) fail("cannot create the link", destination);
  // An owner that this user may not give, and times that the volume does not keep, are left.
  [[maybe_unused]] const int owner =
      ::fchownat(AT_FDCWD, destination.c_str(), status.st_uid, status.st_gid, AT_SYMLINK_NOFOLLOW);
  const std::array<timespec, 2> times = {status.st_atim, status.st_mtim};
  (void)::utimensat(AT_FDCWD, destination.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

void syncFolder(const Path& folder) {
  const FileDescriptor opened(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.isOpen()) (void)::fsync(opened.get());  // the names are there; only their durability is in doubt
}

}  // namespace tavrine
