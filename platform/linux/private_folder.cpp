#include "platform/private_folder.h"

#include <sys/stat.h>

namespace tavrine {

bool createPrivateFolders(const Path& directory) {
  Path folder;
  for (const Path& component : directory) {
    folder /= component;
    (void)::mkdir(folder.c_str(), S_IRWXU);  // one that is there already, or cannot be made, shows in the check
  }
  struct stat status {};
  return ::stat(directory.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace tavrine
