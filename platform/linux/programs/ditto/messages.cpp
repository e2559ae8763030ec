#include "platform/linux/programs/ditto/messages.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/text.h"

namespace tavrine {
namespace {

/// `path` for one line of a message: a line break or another control character in a name would end or garble the line.
std::string shown(std::string_view path) {
  std::string text;
  for (const char c : repairedUtf8(path)) {
    const bool isControl = static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
    if (isControl) {
      text += "\xEF\xBF\xBD";
    } else {
      text += c;
    }
  }
  return text;
}

void writeAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(STDERR_FILENO, text.data(), text.size());
    if (count < 0 && errno != EINTR) return;  // nobody is left to be told; the exit code still says it
    if (count > 0) text.remove_prefix(static_cast<size_t>(count));
  }
}

}  // namespace

void Messages::error(std::string_view path, std::string_view text) {
  anyError_ = true;
  notice(path, text);
}

void Messages::notice(std::string_view path, std::string_view text) {
  const std::string line = "ditto: " + shown(path) + ": " + std::string(text) + "\n";
  const std::lock_guard lock(mutex_);
  writeAll(line);
}

}  // namespace tavrine
