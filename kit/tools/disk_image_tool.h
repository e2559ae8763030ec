#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kit/tools/open_files.h"
#include "kit/tools/process_runner.h"
#include "platform/password.h"
#include "platform/paths.h"

namespace tavrine {

/// A mounted volume of an attached image.
struct AttachedImage {
  std::string imagePath;  ///< as `canonicalPath` gives it, to be compared with other such paths
  Path mountPoint;        ///< as the tool reports it
  bool operator==(const AttachedImage&) const = default;
};

/// Drives the disk-image tool: creates encrypted images, attaches and detaches them, changes their password and lists
/// what is attached. Passwords go by its standard input alone. A failure is a `TavrineError`; a tool that cannot be
/// started is the platform's `std::system_error`. Cleans nothing up. A small value; calls block, and any thread may
/// make them.
struct DiskImageTool final {
  static constexpr std::string_view virtualSize = "2t";

  enum class Access { readWrite, readOnly };
  enum class Force { no, yes };

  struct Attachment {
    const Path& image;
    const Path& mountPoint;  ///< an empty folder
    const Password& password;
    Access access = Access::readWrite;
  };

  Path hdiutil;  ///< where the tool is; absolute

  // What `detach` asks the system for; a test may hand in its own.
  Path lsof = OpenFiles::lsofPath();
  OpenFiles::ExecutablePath executablePath = OpenFiles::executablePath;
  std::function<void(std::chrono::microseconds)> pause = sleepFor;

  /// Creates an encrypted image. Throws `std::invalid_argument`, the tool not run, unless the extension of `image` is
  /// "sparsebundle".
  void create(const Path& image, const std::string& volumeName, const Password& password) const;

  /// Mounts the volume of an image. A wrong password is `wrongPassword`.
  void attach(const Attachment& attachment) const;

  /// Unmounts the volume and ejects its image. One in use is tried three times, half a second apart; one that only
  /// background services of the system read is then detached by force. `inUse` names who else holds it, or nobody where
  /// that is unknown.
  void detach(const Path& mountPoint, Force force = Force::no) const;

  /// A wrong old password is `wrongPassword`.
  void changePassword(const Path& image, const Password& from, const Password& to) const;

  /// Every mounted volume of every attached image, in the tool's order.
  std::vector<AttachedImage> attachedImages() const;

  /// The tool's own text as one line.
  static std::string clean(std::string_view text);

 private:
  static void sleepFor(std::chrono::microseconds time);
  static std::vector<std::string> detachArguments(const Path& mountPoint, Force force);

  ProcessResult run(const std::vector<std::string>& arguments, const Password* input = nullptr) const;
  void forceDetach(const Path& mountPoint) const;
};

}  // namespace tavrine
