#include "app/password_source.h"

#include <ostream>
#include <stdexcept>
#include <utility>

#include "app/shown_text.h"
#include "kit/errors/password_rules.h"
#include "kit/errors/tavrine_error.h"
#include "platform/text.h"

namespace tavrine {
namespace {

constexpr size_t longestPassword = 2048;  ///< bytes; the file system in an image takes no longer one

std::optional<std::string> refusalOfNew(const Password& password) {
  if (auto problem = PasswordSource::problem(password)) return problem;
  return PasswordRules::problem(password.text());
}

std::string_view name(PasswordRules::Strength strength) {
  switch (strength) {
    case PasswordRules::Strength::weak:
      return "weak";
    case PasswordRules::Strength::fair:
      return "fair";
    case PasswordRules::Strength::strong:
      break;
  }
  return "strong";
}

}  // namespace

PasswordSource::PasswordSource(std::optional<Path> file, const StopRequest& stop, std::ostream& messages)
    : file_(std::move(file)), stop_(stop), messages_(messages) {}

bool PasswordSource::isInteractive() const {
  // A password typed into standard input would be shown.
  return !file_ || (*file_ == "-" && isTerminal(StandardStream::input));
}

Password PasswordSource::password(std::string_view prompt) {
  Password password = read(prompt);
  if (const auto refusal = problem(password)) throw std::runtime_error(*refusal);
  return password;
}

Password PasswordSource::newPassword(std::string_view prompt) {
  if (isInteractive()) return newPasswordOfPerson(prompt);
  Password password = read(prompt);
  if (const auto refusal = refusalOfNew(password)) throw std::runtime_error(*refusal);
  return password;
}

Password PasswordSource::newPasswordOfPerson(std::string_view prompt) {
  for (;;) {
    Password first = read(prompt);
    if (const auto refusal = refusalOfNew(first)) {
      messages_ << *refusal << std::endl;
      continue;
    }
    messages_ << "Strength: " << name(PasswordRules::strength(first.text())) << std::endl;
    if (first == read("The same again: ")) return first;
    messages_ << "The two passwords differ." << std::endl;
  }
}

Password PasswordSource::read(std::string_view prompt) {
  return isInteractive() ? readFromTerminal(prompt) : readFromFile();
}

Password PasswordSource::readFromFile() {
  if (!input_) {
    input_.emplace(*file_ == "-" ? SecretInput::standardInput() : SecretInput(*file_));
    if (input_->othersMayRead()) {
      messages_ << "Other users may read the password file " << shownText(file_->string()) << '.' << std::endl;
    }
  }
  auto line = input_->readLine(stop_);
  if (!line && isStopped()) throw TavrineError::cancelled();
  return line ? *std::move(line) : Password("");
}

Password PasswordSource::readFromTerminal(std::string_view prompt) {
  if (!terminal_) terminal_ = ControllingTerminal::open(stop_);
  if (!terminal_) {
    throw std::runtime_error(
        "There is no terminal to ask for the password on. Give it in a file with --password-file, or on standard "
        "input with --password-file -.");
  }
  auto line = terminal_->readPassword(prompt);
  if (!line) throw TavrineError::cancelled();
  return *std::move(line);
}

std::optional<std::string> PasswordSource::problem(const Password& password) {
  const std::string& text = password.text();
  if (text.empty()) return "The password is empty.";
  if (text.find_first_of("\r\n") != std::string::npos) return "A password cannot hold a line break.";
  if (text.find('\0') != std::string::npos) return "A password cannot hold a zero byte.";
  if (text.size() > longestPassword) return "A password cannot be longer than 2,048 bytes.";
  if (!isUtf8(text)) return "A password must be text in UTF-8.";
  return std::nullopt;
}

}  // namespace tavrine
