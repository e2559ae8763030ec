#include "platform/file_flags.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace tavrine {

uint32_t fileFlags(const Path& path) {
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, 0, &status) != 0) return 0;
  const uint64_t attributes = status.stx_attributes & status.stx_attributes_mask;
  return ((attributes & STATX_ATTR_IMMUTABLE) != 0 ? immutableFlag : 0) |
         ((attributes & STATX_ATTR_APPEND) != 0 ? appendFlag : 0);
}

}  // namespace tavrine
