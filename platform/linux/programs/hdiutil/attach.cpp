#include <unistd.h>

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "platform/linux/mount_table.h"
#include "platform/linux/programs/hdiutil/gocryptfs.h"
#include "platform/linux/programs/hdiutil/image_bundle.h"
#include "platform/linux/programs/hdiutil/image_guard.h"
#include "platform/linux/programs/hdiutil/password_input.h"
#include "platform/linux/programs/hdiutil/served_volume.h"
#include "platform/linux/programs/hdiutil/tool_error.h"
#include "platform/linux/programs/hdiutil/verbs.h"

namespace tavrine {
namespace {

bool isMounted(const Path& folder) {
  const std::vector<Mount> mounts = mountTable();
  return std::any_of(mounts.begin(), mounts.end(), [&](const Mount& mount) { return mount.mountPoint == folder; });
}

/// The place to show the volume, as the kernel will name it.
Path requireMountPoint(const std::string& given) {
  const Path folder = Path(canonicalPath(std::filesystem::absolute(given)));
  // First of all: nothing is asked of what is mounted there, it may be dead.
  if (isMounted(folder)) throw ToolError("something is mounted on the mount point already");
  std::error_code error;
  if (std::filesystem::is_symlink(withoutSlashAtEnd(given), error)) throw ToolError("the mount point is a link");
  return folder;
}

/// The mount point's folder, held against every other attach; the descriptor still shows it when the volume hides it.
FileDescriptor holdMountPoint(const Path& mountPoint) {
  FileDescriptor folder(::open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) throw ToolError::system("the mount point cannot be used");
  if (::flock(folder.get(), LOCK_EX | LOCK_NB) != 0) throw ToolError::system("the mount point is in use");
  // Another attach may have been done, and its hold ended, between the first look and this one.
  if (isMounted(mountPoint)) throw ToolError("something is mounted on the mount point already");
  if (!isEmptyFolder(folder.get())) throw ToolError("the mount point is not empty");
  return folder;
}

}  // namespace

void attachImage(const Arguments& arguments) {
  const FileDescriptor pipe = passwordPipe(readPassword());
  const Path mountPoint = requireMountPoint(arguments.options.find("-mountpoint")->second);
  const FileDescriptor folder = holdMountPoint(mountPoint);
  const ImageBundle image(arguments.path);
  removeUnfinishedKeyFiles(image.descriptor());
  makeContentsUsable(image.descriptor());
  attachGuarded({image.descriptor(), pipe.get(), folder.get(), newToken(), mountPoint, arguments.has("-readonly")});
  // At once: whoever is killed between its acknowledgement and its exit is taken for one that has attached nothing.
  ::_exit(EXIT_SUCCESS);
}

}  // namespace tavrine
