#pragma once

#include <memory>

#include "platform/lock_file.h"
#include "platform/paths.h"

namespace tavrine {

/// Holds the support directory against every other process, so that one at a time works there; released on destruction,
/// and by the system when the process dies. Whoever may work in the directory owns it. Not changed after it was made.
class SupportLock final {
 public:
  /// Creates `directory` (0700) and the lock file in it (0600) when missing. Never waits and never fails: nothing when
  /// another holder has the lock, in this process or any other, or when the lock file cannot be opened.
  static std::unique_ptr<SupportLock> acquire(const Path& directory);

 private:
  explicit SupportLock(LockFile&& file) : file_(std::move(file)) {}

  const LockFile file_;
};

}  // namespace tavrine
