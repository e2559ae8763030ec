#pragma once

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "app/exit_code.h"

namespace tavrine {

/// How an error is told: to the shell, to a script, to a person.
struct Failure {
  ExitCode code = ExitCode::failed;
  std::string name;     ///< "wrongPassword"; "system" for an error of the operating system, "other" for the rest
  std::string message;  ///< UTF-8
  std::optional<std::string> title = std::nullopt;
  std::vector<std::string> details = {};  ///< what the message counts, as far as a person wants to read it
};

Failure failureOf(const std::exception& error);

/// How a run over several items ends.
class Outcome final {
 public:
  void add(ExitCode code);

  /// `done` when every item was; the one code of a single item, or of items that all failed alike; `cancelled` once one
  /// was cancelled; else `someFailed`.
  ExitCode exitCode() const;

 private:
  int items_ = 0;
  int failed_ = 0;
  bool isCancelled_ = false;
  bool isMixed_ = false;
  ExitCode failure_ = ExitCode::done;
};

}  // namespace tavrine
