#include "platform/private_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/file_descriptor.h"

namespace tavrine {
namespace {

/// The folder exists; only the durability of its name is in doubt where this fails.
void syncNameOf(const Path& folder) {
  const Path parent = folder.has_parent_path() ? folder.parent_path() : Path(".");
  const FileDescriptor file(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (file.isOpen()) (void)::fsync(file.get());
}

}  // namespace

bool createPrivateFolders(const Path& directory) {
  Path folder;
  for (const Path& component : directory) {
    folder /= component;
    // One that is there already, or cannot be made, shows in the check.
    if (::mkdir(folder.c_str(), S_IRWXU) == 0) syncNameOf(folder);
  }
  struct stat status {};
  return ::stat(directory.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool othersMayWrite(const Path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return false;
  return status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

void makeFilesPrivate() {
  (void)::umask(S_IRWXG | S_IRWXO);  // the user's own mask changes nothing
}

}  // namespace tavrine
