#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/password.h"
#include "platform/paths.h"
#include "platform/secret_input.h"
#include "platform/stop_request.h"
#include "platform/terminal.h"

namespace tavrine {

/// Where the password comes from: the file the user named ("-" is standard input), else the terminal. Opens neither
/// before it is asked. Used by one thread.
class PasswordSource final {
 public:
  /// `stop` and `messages`, where warnings go, outlive it.
  PasswordSource(std::optional<Path> file, const StopRequest& stop, std::ostream& messages);

  /// Whether a person is asked, who can be asked again; otherwise the next password is the next line of the file.
  bool isInteractive() const;

  /// The password: the file's first line, or what is typed behind `prompt`. Any that an image can have; it was not
  /// judged. Throws `TavrineError` `cancelled` when the question was broken off, and `std::runtime_error` with a
  /// message for the user: no terminal and no file, an empty file, or `problem`.
  Password password(std::string_view prompt);

  /// A new password: from a person asked twice, until both are the same and `PasswordRules` take it; from a file, once
  /// and under the same rules. Its strength and why one is refused go to `messages`. Errors are those of `password`.
  Password newPassword(std::string_view prompt);

  /// Whether the program was asked to stop.
  bool isStopped() const { return stop_.isRaised(); }

  /// Why no image can have this password; nothing for one that can.
  static std::optional<std::string> problem(const Password& password);

 private:
  Password read(std::string_view prompt);
  Password readFromFile();
  Password readFromTerminal(std::string_view prompt);
  Password newPasswordOfPerson(std::string_view prompt);

  const std::optional<Path> file_;
  const StopRequest& stop_;
  std::ostream& messages_;
  std::optional<SecretInput> input_;
  std::unique_ptr<ControllingTerminal> terminal_;
};

}  // namespace tavrine
