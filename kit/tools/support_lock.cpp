#include "kit/tools/support_lock.h"

#include <utility>

#include "platform/private_folder.h"

namespace tavrine {

std::unique_ptr<SupportLock> SupportLock::acquire(const Path& directory) {
  (void)createPrivateFolders(directory);  // what cannot be made shows in the lock file
  auto file = LockFile::acquire(directory / ".tavrine.lock");
  if (!file) return nullptr;
  return std::unique_ptr<SupportLock>(new SupportLock(*std::move(file)));
}

}  // namespace tavrine
