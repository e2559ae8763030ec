#pragma once

namespace tavrine {

/// What the program's exit status means; docs/exit-codes.md is its page for users.
enum class ExitCode {
  done = 0,
  failed = 1,
  wrongUsage = 2,
};

}  // namespace tavrine
