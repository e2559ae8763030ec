#include <unistd.h>

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
  const std::filesystem::directory_iterator entries(folder, error);
  if (error) throw ToolError("the mount point cannot be used: " + error.message());
  if (entries != std::filesystem::directory_iterator()) throw ToolError("the mount point is not empty");
  return folder;
}

}  // namespace

void attachImage(const Arguments& arguments) {
  const FileDescriptor pipe = passwordPipe(readPassword());
  const Path mountPoint = requireMountPoint(arguments.options.find("-mountpoint")->second);
  const ImageBundle image(arguments.path);
  removeUnfinishedKeyFiles(image.descriptor());
  makeContentsUsable(image.descriptor());
  attachGuarded({image.descriptor(), pipe.get(), newToken(), mountPoint, arguments.has("-readonly")});
  // At once: whoever is killed between its acknowledgement and its exit is taken for one that has attached nothing.
  ::_exit(EXIT_SUCCESS);
}

}  // namespace tavrine
