#include "platform/exclusive_rename.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>

namespace tavrine {

int systemExclusiveRename(const Path& source, const Path& destination) {
  if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) return 0;
  return errno == ENOSYS ? ENOTSUP : errno;
}

}  // namespace tavrine
