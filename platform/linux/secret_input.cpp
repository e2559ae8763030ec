#include "platform/secret_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/linux/input_wait.h"

namespace tavrine {
namespace {

/// Without waiting for a fifo's writer: `readLine` does, and can be stopped.
int openToRead(const Path& file) {
  int fd = -1;
  do {
    fd = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

[[noreturn]] void failToRead(int error, const Path& file) {
  throw std::filesystem::filesystem_error("cannot read", file, std::error_code(error, std::generic_category()));
}

/// Whether a byte came; not so at the end of the input and once stopped.
bool readByte(int fd, const StopRequest& stop, char& byte) {
  for (;;) {
    if (waitForInput(fd, stop.waitHandle()) == InputWait::stopped) return false;
    const ssize_t count = ::read(fd, &byte, 1);
    if (count >= 0) return count == 1;
    if (errno != EINTR && errno != EAGAIN) {
      throw std::system_error(errno, std::generic_category(), "cannot read the password");
    }
  }
}

}  // namespace

SecretInput::SecretInput(const Path& file) : fd_(openToRead(file)), isOwned_(true) {
  if (fd_ < 0) failToRead(errno, file);
  struct stat status {};
  if (::fstat(fd_, &status) == 0 && !S_ISDIR(status.st_mode)) return;
  (void)::close(fd_);  // nothing was written
  failToRead(EISDIR, file);
}

SecretInput SecretInput::standardInput() {
  return SecretInput(STDIN_FILENO, false);
}

SecretInput::SecretInput(SecretInput&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), isOwned_(std::exchange(other.isOwned_, false)) {}

SecretInput::~SecretInput() {
  if (isOwned_) (void)::close(fd_);  // nothing was written
}

bool SecretInput::othersMayRead() const {
  struct stat status {};
  if (::fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const bool isForeign = status.st_uid != ::geteuid() && status.st_uid != 0;
  return isForeign || (status.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

std::optional<Password> SecretInput::readLine(const StopRequest& stop) {
  std::string line;
  line.reserve(longestLine + 1);  // growing would leave copies behind
  char byte = 0;
  while (line.size() <= longestLine && readByte(fd_, stop, byte) && byte != '\n') line += byte;
  const bool isEnded = std::exchange(byte, '\0') == '\n';
  if (isEnded && line.ends_with('\r')) line.pop_back();
  const bool isNothing = (line.empty() && !isEnded) || stop.isRaised();
  Password answer(std::move(line));
  return isNothing ? std::nullopt : std::optional(std::move(answer));
}

}  // namespace tavrine
