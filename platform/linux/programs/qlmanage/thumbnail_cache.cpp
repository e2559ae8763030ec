#include "platform/linux/programs/qlmanage/thumbnail_cache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include "platform/linux/directory_stream.h"
#include "platform/linux/file_descriptor.h"
#include "platform/linux/user_folders.h"

namespace tavrine {
namespace {

std::string reasonText(int error) {
  return std::generic_category().message(error);
}

FileDescriptor openFolder(int parent, const char* name) {
  return FileDescriptor(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

struct Entry {
  std::string name;
  bool isFolder = false;
};

bool isFolder(int parent, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status {};
  return ::fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

struct Listing {
  std::vector<Entry> entries;
  int error = 0;  ///< what kept it from being whole
};

/// All entries before the first is removed: removing while reading makes some file systems leave entries out.
Listing listingOf(const FileDescriptor& folder) {
  Listing listing;
  const DirectoryStream stream = entriesOf(folder.get());
  if (!stream) {
    listing.error = errno;
    return listing;
  }
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());  // NOLINT(concurrency-mt-unsafe): the stream is ours alone
    if (entry == nullptr) break;
    const std::string name = entry->d_name;
    if (name != "." && name != "..") listing.entries.push_back({name, isFolder(folder.get(), *entry)});
  }
  listing.error = errno;
  return listing;
}

/// A device number would not show a folder of the same device that is mounted there a second time.
bool isMountPoint(const FileDescriptor& folder) {
  struct statx status {};
  return ::statx(folder.get(), "", AT_EMPTY_PATH, 0, &status) == 0 &&
         (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

void emptyFolder(const FileDescriptor& folder, const Path& path, const ReportFailure& reportFailure) {
  const Listing listing = listingOf(folder);
  if (listing.error != 0) reportFailure(path, reasonText(listing.error));
  for (const Entry& entry : listing.entries) {
    if (!entry.isFolder) {
      const bool isGone = ::unlinkat(folder.get(), entry.name.c_str(), 0) == 0 || errno == ENOENT;
      if (!isGone) reportFailure(path / entry.name, reasonText(errno));
      continue;
    }
    const FileDescriptor inner = openFolder(folder.get(), entry.name.c_str());
    if (inner.isOpen()) {
      if (!isMountPoint(inner)) emptyFolder(inner, path / entry.name, reportFailure);
    } else if (errno != ENOENT) {
      reportFailure(path / entry.name, reasonText(errno));
    }
  }
}

bool isLink(const Path& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

}  // namespace

std::optional<Path> thumbnailCache() {
  if (const auto cache = folderVariable("XDG_CACHE_HOME")) return *cache / "thumbnails";
  const auto home = homeFolder();
  if (!home) return std::nullopt;
  return *home / ".cache" / "thumbnails";
}

void emptyCache(const Path& folder, const ReportFailure& reportFailure) {
  const FileDescriptor fd = openFolder(AT_FDCWD, folder.c_str());
  if (fd.isOpen()) return emptyFolder(fd, folder, reportFailure);
  if (errno == ENOENT) return;
  const std::string reason = reasonText(errno);
  reportFailure(folder, isLink(folder) ? "is a link, which is not followed" : reason);
}

}  // namespace tavrine
