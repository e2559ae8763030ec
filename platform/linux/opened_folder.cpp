#include "platform/linux/opened_folder.h"

#include <fcntl.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <string>

namespace tavrine {
namespace {

mode_t withOwnerRights(const struct statx& status) {
  return (status.stx_mode & 07777U) | S_IRWXU;
}

bool lacksOwnerRights(const struct statx& status) {
  return (status.stx_mode & S_IRWXU) != S_IRWXU;
}

/// The folder behind a descriptor that serves as its place alone.
FileDescriptor openForReading(const FileDescriptor& place) {
  return FileDescriptor(::openat(place.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

int Bounds::check(const struct statx& status) const {
  if ((status.stx_mask & STATX_MNT_ID) == 0) return ENOTSUP;
  if (status.stx_mnt_id != mount) return EBUSY;
  return device && deviceOf(status) != *device ? EXDEV : 0;
}

std::optional<struct statx> extendedStatus(int folder, const char* name) {
  struct statx status {};
  const int flags = AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  if (::statx(folder, name, flags, STATX_BASIC_STATS | STATX_MNT_ID, &status) != 0) return std::nullopt;
  return status;
}

dev_t deviceOf(const struct statx& status) {
  return ::makedev(status.stx_dev_major, status.stx_dev_minor);
}

std::optional<OpenedFolder> openFolderIn(int above, const char* name, const Bounds& bounds,
                                         const std::function<void(const OpenedFolder&)>& beforeRights) {
  const FileDescriptor place(::openat(above, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!place.isOpen()) return std::nullopt;
  const auto status = extendedStatus(place.get(), "");
  if (!status) return std::nullopt;
  if (const int error = bounds.check(*status); error != 0) {
    errno = error;
    return std::nullopt;
  }
  OpenedFolder folder{openForReading(place), *status};
  if (!folder.fd.isOpen() && errno == EACCES && lacksOwnerRights(*status)) {
    // A descriptor that is only a place has no fchmod of its own.
    const std::string link = "/proc/self/fd/" + std::to_string(place.get());
    (void)::chmod(link.c_str(), withOwnerRights(*status));  // the opening tells
    folder.fd = openForReading(place);
  }
  if (!folder.fd.isOpen()) return std::nullopt;
  beforeRights(folder);
  // Where the rights stay missing, what needs them fails and is reported.
  if (lacksOwnerRights(*status)) (void)::fchmod(folder.fd.get(), withOwnerRights(*status));
  return folder;
}

}  // namespace tavrine
