#include <fcntl.h>

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
  explicit NewImage(Path path) : path_(std::move(path)) { makeBundle(path_); }
  NewImage(const NewImage&) = delete;
  NewImage& operator=(const NewImage&) = delete;
  ~NewImage() {
    std::error_code ignored;  // the error that brought us here is the one to report
    if (!finished_) std::filesystem::remove_all(path_, ignored);
  }

  void fill(const Password& password) {
    const ImageBundle bundle(path_);
    makeVolume(bundle.descriptor(), password);
    finished_ = true;
  }

 private:
  Path path_;
  bool finished_ = false;
};

}  // namespace

void createImage(const Arguments& arguments) {
  if (pathExtension(arguments.path) != "sparsebundle") throw ToolError("the image's name must end in .sparsebundle");
  const Password password = readPassword();
  NewImage(arguments.path).fill(password);
}

}  // namespace tavrine
