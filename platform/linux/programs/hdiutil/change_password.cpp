#include "platform/linux/programs/hdiutil/gocryptfs.h"
#include "platform/linux/programs/hdiutil/image_bundle.h"
#include "platform/linux/programs/hdiutil/password_input.h"
#include "platform/linux/programs/hdiutil/verbs.h"

namespace tavrine {

void changeImagePassword(const Arguments& arguments) {
  const auto [oldPassword, newPassword] = readOldAndNewPassword();
  const ImageBundle image(arguments.path);
  changeVolumePassword(image.descriptor(), oldPassword, newPassword);
}

}  // namespace tavrine
