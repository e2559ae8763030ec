#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kit/tools/cancel_token.h"
#include "platform/paths.h"

namespace tavrine {

/// How a child ended and what it said.
struct ProcessResult {
  int32_t status = 0;     ///< the exit code, or the number of the signal that ended the child
  std::string output;     ///< standard output and standard error as they came, in UTF-8: what is none is U+FFFD
  bool timedOut = false;  ///< the child was asked to end because its time was over
  bool operator==(const ProcessResult&) const = default;
};

/// What a run may have besides the program and its arguments.
struct ProcessOptions {
  std::optional<std::string_view> input = std::nullopt;  ///< for the child's standard input, which otherwise is empty
  std::optional<double> timeoutSeconds = std::nullopt;   ///< no limit where absent
  std::shared_ptr<const CancelToken> cancel = nullptr;
};

/// Starts the command-line tools, each in a process group of its own. Keeps no state; any thread may call it.
class ProcessRunner final {
 public:
  ProcessRunner() = delete;

  /// Runs the program at the absolute path `executable` to its end. `arguments` follow the program's name as they are:
  /// no shell reads them. When the time is over or the token is cancelled, the child is asked to terminate, and waited
  /// for without limit. A process that the child leaves behind keeps the call waiting for as long as it holds the
  /// child's output open: a tool that starts a server must give it other streams. Input beyond what a pipe holds waits
  /// for the child to read it, without a limit.
  ///
  /// Throws `TavrineError` `cancelled` when the token is cancelled before this returns, even when the child had ended
  /// by itself; the platform's `std::system_error` when the child cannot be started. Any status is a result.
  static ProcessResult run(const Path& executable, const std::vector<std::string>& arguments,
                           const ProcessOptions& options = {});
};

}  // namespace tavrine
