#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "platform/linux/programs/hdiutil/gocryptfs.h"
#include "platform/linux/programs/hdiutil/image_bundle.h"
#include "platform/linux/programs/hdiutil/password_input.h"
#include "platform/linux/programs/hdiutil/tool_error.h"
#include "platform/linux/programs/hdiutil/verbs.h"

namespace tavrine {
namespace {

/// An image that is gone again unless it was finished.
class NewImage final {
 public:
  explicit NewImage(Path path) : path_(std::move(path)) {
    makeBundleFolder(path_);
    (void)::lstat(path_.c_str(), &made_);  // were it gone already, there would be nothing to remove
  }
  NewImage(const NewImage&) = delete;
  NewImage& operator=(const NewImage&) = delete;
  ~NewImage() {
    struct stat now {};
    // Only what was made here: the name may have been given to something else.
    if (isFinished_ || ::lstat(path_.c_str(), &now) != 0) return;
    if (now.st_dev != made_.st_dev || now.st_ino != made_.st_ino) return;
    std::error_code ignored;  // the error that brought us here is the one to report
    std::filesystem::remove_all(path_, ignored);
  }

  void fill(const Password& password) {
    describeBundle(path_);
    const ImageBundle bundle(path_);
    makeVolume(bundle.descriptor(), password);
    isFinished_ = true;
  }

 private:
  const Path path_;
  struct stat made_ {};
  bool isFinished_ = false;
};

}  // namespace

void createImage(const Arguments& arguments) {
  if (pathExtension(arguments.path) != "sparsebundle") throw ToolError("the image's name must end in .sparsebundle");
  const Password password = readPassword();
  NewImage(arguments.path).fill(password);
}

}  // namespace tavrine
