#pragma once

#include <string>
#include <vector>

#include "platform/linux/programs/hdiutil/child.h"
#include "platform/password.h"
#include "platform/paths.h"

namespace tavrine {

// Everything that knows the encrypted file system inside an image. It works on an image through a descriptor of the
// image's folder.

/// In bytes. The file system takes no longer one.
constexpr size_t longestPassword = 2048;

/// Throws `ToolError` for a password that no image can have, saying why: it is given as one line.
void requireUsable(const Password& password);

/// Makes the empty volume and its key in a new image.
void makeVolume(int bundleFolder, const Password& password);

/// Opens the key with `from` and writes it for `to`. It is on disk on return; cut short at any moment, one of the two
/// opens. Throws `ToolError`, with "Authentication error" when `from` does not open it.
void changeVolumePassword(int bundleFolder, const Password& from, const Password& to);

/// The server process of an attached image.
struct ServerLaunch {
  int bundleFolder;
  int password;  ///< a pipe that holds it, as `passwordPipe` makes it
  int output;
  std::string token;  ///< stands as the source in the mount table
  Path mountPoint;
  bool readOnly = false;
};

FileDescriptor passwordPipe(const Password& password);

/// Starts the server, which tells this process by SIGUSR1 when the volume is there, and ends when it is unmounted.
pid_t startServer(const ServerLaunch& launch);

/// How the command line of a server that `startServer` started begins, words separated by NUL.
std::string serverCommandStart(const std::string& token);

/// The type of a volume's mount in the kernel's table.
constexpr const char* volumeType = "fuse.gocryptfs";

/// What the end of one of the children above says went wrong; never empty.
std::string failureText(int waitStatus, const std::string& output);

}  // namespace tavrine
