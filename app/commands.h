#pragma once

#include "app/exit_code.h"
#include "app/run.h"

namespace tavrine {

// One function per command that works in the support directory. Each shows what it did, item by item; what stops it as
// a whole is thrown.

ExitCode runLock(const Run& run);
ExitCode runUnlock(const Run& run);
ExitCode runLockNow(const Run& run);
ExitCode runRemoveLock(const Run& run);
ExitCode runReveal(const Run& run);
ExitCode runList(const Run& run);
ExitCode runRecover(const Run& run);
ExitCode runRepair(const Run& run);

}  // namespace tavrine
