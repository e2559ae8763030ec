#pragma once

#include "platform/linux/file_descriptor.h"
#include "platform/paths.h"

namespace tavrine {

/// The names inside an image's folder.
namespace bundle {
constexpr const char* description = "Info.plist";  ///< what kind of image this is
constexpr const char* keyFile = "gocryptfs.conf";  ///< the key of the contents, itself encrypted with the password
constexpr const char* newKeyFile = "gocryptfs.conf.new";  ///< only while the password is being changed
constexpr const char* contents = "data";                  ///< the encrypted file system
}  // namespace bundle

/// Makes the folder of a new image, this user's alone. What lies at `path` already is an error and stays as it is.
/// Throws `ToolError`.
void makeBundleFolder(const Path& path);

/// Makes the description and the folder for the contents in it.
void describeBundle(const Path& path);

/// An image's folder, opened once and from then on used through that descriptor alone, so that renaming it or a folder
/// above it does no harm. Held against every other user of the image for as long as this object, or a process that got
/// the descriptor, lives.
class ImageBundle final {
 public:
  /// Throws `ToolError`: there is no image of a known format, it is out of reach, or it is in use. Waits a few seconds
  /// for whoever has it without having it attached.
  explicit ImageBundle(const Path& path);

  int descriptor() const { return folder_.get(); }

 private:
  void hold() const;

  FileDescriptor folder_;
};

/// Gives the owner back all rights to the folder with the contents. The volume's root shows the mode of that folder,
/// and whoever changes it there changes it here, where the volume's server then finds itself shut out. On a read-only
/// disk nothing changes.
void makeContentsUsable(int bundleFolder);

/// Removes the traces of a password change that was cut short: a key file that the old password may still open.
void removeUnfinishedKeyFiles(int bundleFolder);

}  // namespace tavrine
