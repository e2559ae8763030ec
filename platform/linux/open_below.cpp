#include "platform/linux/open_below.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/file_descriptor.h"

namespace tavrine {

int openBelow(int folder, const std::string& relativePath, int flags) {
  struct open_how how {};
  how.flags = static_cast<uint64_t>(flags | O_NOFOLLOW | O_CLOEXEC);
  how.resolve = RESOLVE_NO_SYMLINKS;
  const long opened = ::syscall(SYS_openat2, folder, relativePath.c_str(), &how, sizeof how);
  // Sandboxes that do not know the call answer with EPERM.
  if (opened < 0 && (errno == ENOSYS || errno == EPERM)) return openBelowByParts(folder, relativePath, flags);
  return static_cast<int>(opened);
}

int openBelowByParts(int folder, const std::string& relativePath, int flags) {
  FileDescriptor above;
  size_t start = 0;
  for (size_t slash = 0; (slash = relativePath.find('/', start)) != std::string::npos; start = slash + 1) {
    const std::string name = relativePath.substr(start, slash - start);
    FileDescriptor next(
        ::openat(above.isOpen() ? above.get() : folder, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!next.isOpen()) return -1;
    above = std::move(next);
  }
  return ::openat(above.isOpen() ? above.get() : folder, relativePath.c_str() + start, flags | O_NOFOLLOW | O_CLOEXEC);
}

}  // namespace tavrine
