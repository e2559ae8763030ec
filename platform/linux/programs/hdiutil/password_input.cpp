#include "platform/linux/programs/hdiutil/password_input.h"

#include <unistd.h>

#include <cerrno>

#include "platform/linux/programs/hdiutil/gocryptfs.h"
#include "platform/linux/programs/hdiutil/tool_error.h"

namespace tavrine {
namespace {

constexpr size_t mostBytes = 2 * (longestPassword + 1);

Password readInput() {
  std::string buffer(mostBytes + 1, '\0');  // its full size at once: growing would leave copies behind
  size_t length = 0;
  while (length < buffer.size()) {
    const ssize_t count = ::read(STDIN_FILENO, buffer.data() + length, buffer.size() - length);
    if (count == 0) break;
    if (count > 0) {
      length += static_cast<size_t>(count);
    } else if (errno != EINTR) {
      throw ToolError::system("cannot read the password from standard input");
    }
  }
  buffer.resize(length);
  return Password(std::move(buffer));
}

}  // namespace

Password readPassword() {
  Password password = readInput();
  requireUsable(password);
  return password;
}

std::pair<Password, Password> readOldAndNewPassword() {
  const Password input = readInput();
  const std::string& text = input.text();
  const size_t first = text.find('\0');
  const size_t second = first == std::string::npos ? first : text.find('\0', first + 1);
  if (second == std::string::npos || second + 1 != text.size()) {
    throw ToolError("standard input must hold the old and the new password, each with a zero byte behind it");
  }
  std::pair<Password, Password> passwords(Password(text.substr(0, first)),
                                          Password(text.substr(first + 1, second - first - 1)));
  requireUsable(passwords.first);
  requireUsable(passwords.second);
  return passwords;
}

}  // namespace tavrine
