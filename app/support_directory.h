#pragma once

#include <exception>
#include <optional>
#include <stdexcept>
#include <string>

#include "kit/tools/cancel_token.h"
#include "kit/tools/support_lock.h"
#include "platform/paths.h"

namespace tavrine {

/// Another Tavrine works in the support directory, and did not finish while we waited.
class SupportDirectoryBusy final : public std::exception {
 public:
  const char* what() const noexcept override {
    return "Another Tavrine is working with these items. Try again when it has finished.";
  }
};

/// The support directory: the chosen one, else `$TAVRINE_SUPPORT_DIR`, else "tavrine" in the user's data folder. It
/// need not exist. Throws `std::runtime_error`, with a message for the user, where there is none, or where another user
/// could have written in it: then nothing in it may be read.
Path supportDirectory(const std::optional<Path>& chosen);

/// The lock on the directory, which is created when missing. Waits five seconds for another holder, then throws
/// `SupportDirectoryBusy`; `TavrineError` `cancelled` when the token is cancelled meanwhile, and the system's error
/// where the directory cannot be made.
std::unique_ptr<SupportLock> lockSupportDirectory(const Path& directory, const CancelToken& cancel);

}  // namespace tavrine
