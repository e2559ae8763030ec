#include "platform/linux/posix_status.h"

namespace tavrine {

FileType fileTypeOf(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return FileType::regular;
    case S_IFDIR:
      return FileType::folder;
    case S_IFLNK:
      return FileType::symbolicLink;
    case S_IFIFO:
      return FileType::fifo;
    case S_IFSOCK:
      return FileType::socket;
    case S_IFCHR:
      return FileType::characterDevice;
    case S_IFBLK:
      return FileType::blockDevice;
    default:
      return FileType::unknown;
  }
}

FileStatus fileStatusOf(const struct stat& status) {
  constexpr int64_t blockBytes = 512;
  return {.type = fileTypeOf(status.st_mode),
          .permissions = status.st_mode & 07777,
          .size = status.st_size,
          .allocated = status.st_blocks * blockBytes,
          .modified = {status.st_mtim.tv_sec, status.st_mtim.tv_nsec},
          .changed = {status.st_ctim.tv_sec, status.st_ctim.tv_nsec},
          .device = status.st_dev,
          .inode = status.st_ino,
          .links = status.st_nlink,
          .owner = status.st_uid,
          .group = status.st_gid};
}

}  // namespace tavrine
