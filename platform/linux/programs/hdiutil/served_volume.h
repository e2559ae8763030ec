#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/programs/hdiutil/process_handle.h"
#include "platform/paths.h"

namespace tavrine {

/// A place where the kernel shows the volume of an image.
struct ServedVolume {
  std::string
      token;  ///< names the attach; stands as the source in the mount table and in the command lines of the processes
  Path mountPoint;
  uid_t owner;
};

/// A token for a new attach. It tells nothing of the image.
std::string newToken();

/// The volumes that the kernel's table shows, in its order: this user's, or everybody's for root.
std::vector<ServedVolume> servedVolumes();

/// The volume that is to be seen at `mountPoint`, links in the path to it resolved, nothing asked of the volume itself:
/// its server may be dead.
std::optional<ServedVolume> servedVolumeAt(const Path& mountPoint);

/// A volume that is no longer to be seen although processes still serve it, by the mount point it was attached at.
std::optional<ServedVolume> unseenVolumeOf(const Path& mountPoint);

/// The volume of an attach, where it is now; nothing once it is unmounted.
std::optional<ServedVolume> servedVolumeOf(const std::string& token);

/// How the command line of the process that looks after a server begins, words separated by NUL.
std::string guardCommandStart(const std::string& token);

/// The processes behind a volume: the server, and the guard that outlives it and looks after it. Found by their command
/// lines and owner; any of them may be gone. They hold the image's folder open as descriptor 3.
class ServingProcesses final {
 public:
  explicit ServingProcesses(const ServedVolume& volume);

  /// The folder of the image; not open when no process is left to tell.
  FileDescriptor openImage() const;

  /// Where the image is now; nothing when no process is left to tell.
  std::optional<Path> imagePath() const;

  /// Whether all of them have ended within the time.
  bool waitForEnd(std::chrono::milliseconds limit) const;

  /// Ends the server at once, but with no block left half written.
  void killServer() const;

 private:
  struct Process {
    ProcessHandle handle;
    bool isServer;
  };

  std::vector<Process> processes_;
};

}  // namespace tavrine
