#pragma once

namespace tavrine {

/// What the program's exit status means; docs/exit-codes.md is its page for users.
enum class ExitCode {
  done = 0,
  failed = 1,
  wrongUsage = 2,
  someFailed = 3,  ///< of several items, and not all for the same reason
  busy = 11,       ///< another Tavrine works in the support directory
  wrongPassword = 12,
  inUse = 16,
  cancelled = 130,
};

}  // namespace tavrine
