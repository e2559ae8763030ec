#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

namespace tavrine {

struct CloseDirectory {
  void operator()(DIR* stream) const { (void)::closedir(stream); }  // it was only read
};

using DirectoryStream = std::unique_ptr<DIR, CloseDirectory>;

/// The entries of an open folder, from the first, through a descriptor of their own: a stream closes the one it reads
/// through. Null, with errno set, where they cannot be listed.
inline DirectoryStream entriesOf(int folder) {
  const int again = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DirectoryStream stream(again < 0 ? nullptr : ::fdopendir(again));
  if (!stream && again >= 0) {
    const int error = errno;
    (void)::close(again);  // nothing was written to it
    errno = error;
  }
  return stream;
}

}  // namespace tavrine
