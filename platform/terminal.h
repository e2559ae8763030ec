#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/password.h"
#include "platform/stop_request.h"

namespace tavrine {

enum class StandardStream { input, output, error };

bool isTerminal(StandardStream stream);

/// How many columns the terminal has; nothing for what is no terminal or does not tell.
std::optional<int> terminalColumns(StandardStream stream);

/// The terminal the program was started from, whatever its standard streams are. One question at a time in a process.
/// What was typed before a question is not taken as its answer. A question ends early once `stop` is raised; whoever
/// lets signals end the process instead risks a terminal left without echo, so `StopSignals` lives meanwhile. A job
/// suspended during a question leaves the terminal as it was and asks anew when it goes on.
class ControllingTerminal final {
 public:
  /// Null where the program has no terminal. `stop` outlives the object.
  static std::unique_ptr<ControllingTerminal> open(const StopRequest& stop);
  ControllingTerminal(const ControllingTerminal&) = delete;
  ControllingTerminal& operator=(const ControllingTerminal&) = delete;
  ~ControllingTerminal();

  /// The line typed behind `prompt`, without its end. Nothing when `stop` was raised or the input ended: by the user,
  /// or because the terminal is gone.
  std::optional<std::string> readLine(std::string_view prompt) const;

  /// The same without showing what is typed. Echo is back on every way out; what held the answer is wiped.
  /// Throws `std::system_error`, having asked nothing, where the terminal cannot be set up.
  std::optional<Password> readPassword(std::string_view prompt) const;

 private:
  ControllingTerminal(int fd, const StopRequest& stop) : fd_(fd), stop_(stop) {}

  const int fd_;
  const StopRequest& stop_;
};

}  // namespace tavrine
