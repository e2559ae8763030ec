#include "platform/lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tavrine {

std::optional<LockFile> LockFile::acquire(const Path& file) {
  int fd = -1;
  do {
    fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return std::nullopt;
  LockFile held(fd);
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) return std::nullopt;
  return held;
}

LockFile::LockFile(LockFile&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

LockFile::~LockFile() {
  if (fd_ < 0) return;
  // Closing alone would leave the lock to a process that was forked and has not yet run its program.
  (void)::flock(fd_, LOCK_UN);  // closing is what is left when this fails
  (void)::close(fd_);           // nothing was written
}

}  // namespace tavrine
