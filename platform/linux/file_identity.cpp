#include "platform/file_identity.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <array>
#include <string>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/kernel_handle.h"

namespace tavrine {
namespace {

/// A handle names a file for the kernel, also after its inode number was used again; its hash (FNV-1a, the same in
/// every build) stands in for a time of birth. 0 where the file system has none.
int64_t handleHash(const Path& path) {
  const std::string handle = kernelHandleOf(path);
  if (handle.empty()) return 0;
  uint64_t hash = 14695981039346656037U;
  for (const char byte : handle) hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
  return static_cast<int64_t>(hash >> 1);
}

/// How often the file system has used this inode number; 0 where it does not tell, and for what may not be opened.
int64_t generation(const Path& path, uint32_t mode) {
  if (!S_ISREG(mode) && !S_ISDIR(mode)) return 0;  // opening a fifo or a device would do something
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  // The call is defined with a long; file systems of the kernel fill its first int, those of a process the whole.
  std::array<int, sizeof(long) / sizeof(int)> number{};
  if (!file.isOpen() || ::ioctl(file.get(), FS_IOC_GETVERSION, number.data()) != 0) return 0;
  return number.front();
}

}  // namespace

std::optional<FileIdentity> FileIdentity::of(const Path& path) {
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_TYPE | STATX_BTIME, &status) != 0) {
    return std::nullopt;
  }
  if ((status.stx_mask & STATX_BTIME) != 0)
    return {{status.stx_ino, status.stx_btime.tv_sec, status.stx_btime.tv_nsec}};
  const int64_t hash = handleHash(path);
  return {{status.stx_ino, hash != 0 ? hash : generation(path, status.stx_mode), 0}};
}

}  // namespace tavrine
