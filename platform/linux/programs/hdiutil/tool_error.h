#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tavrine {

/// The exit codes that callers tell apart.
constexpr int failedStatus = 1;
constexpr int busyStatus = EBUSY;

/// Why the program ends without having done its work: the line it prints (without its own name) and its exit code.
class ToolError final : public std::runtime_error {
 public:
  explicit ToolError(const std::string& message, int status = failedStatus)
      : std::runtime_error(message), status_(status) {}

  /// The system's text for `errno`, with "WHAT: " before it where something is given.
  static ToolError system(const std::string& what = {}) {
    const std::string reason = std::strerror(errno);  // NOLINT(concurrency-mt-unsafe): the program has one thread
    return ToolError(what.empty() ? reason : what + ": " + reason);
  }

  int status() const { return status_; }

 private:
  int status_;
};

}  // namespace tavrine
