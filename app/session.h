#pragma once

#include <memory>
#include <optional>

#include "app/console.h"
#include "kit/engine/locker.h"
#include "kit/tools/cancel_token.h"
#include "kit/tools/support_lock.h"

namespace tavrine {

/// One stay in the support directory: holds its lock, has finished or undone what an earlier run left, and keeps the
/// state shared with the file manager's extension current. For one thread.
class Session final {
 public:
  /// Waits for the lock, recovers and shows the notice. Errors are those of `lockSupportDirectory`.
  Session(const Path& supportDirectory, Console& console, const CancelToken& cancel);

  const Locker& locker() const { return locker_; }
  const RecoveryReport& report() const { return report_; }

  /// Tells the extension what is unlocked now, when that has changed. A failure is a warning.
  void publish();

 private:
  Console& console_;
  const std::unique_ptr<SupportLock> lock_;
  const Locker locker_;
  RecoveryReport report_;
};

}  // namespace tavrine
