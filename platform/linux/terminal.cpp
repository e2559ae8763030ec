#include "platform/terminal.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/input_wait.h"

namespace tavrine {
namespace {

constexpr size_t longestLine = 4096;  ///< the kernel gives no longer one

int descriptor(StandardStream stream) {
  switch (stream) {
    case StandardStream::input:
      return STDIN_FILENO;
    case StandardStream::output:
      return STDOUT_FILENO;
    case StandardStream::error:
      break;
  }
  return STDERR_FILENO;
}

std::atomic<int> suspendHandle = -1;
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler reads it");

extern "C" void noteSuspension(int /*signal*/) {
  const int error = errno;
  (void)::eventfd_write(suspendHandle, 1);  // fails only when it is noted already
  errno = error;
}

/// Holds a suspension of the job (Ctrl-Z) back until the terminal is as it was. It takes place when this ends.
class HeldSuspension final {
 public:
  HeldSuspension() : noted_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!noted_.isOpen()) throw std::system_error(errno, std::generic_category(), "eventfd");
    suspendHandle = noted_.get();
    struct sigaction note {};
    note.sa_handler = noteSuspension;
    note.sa_flags = SA_RESTART;
    (void)::sigaction(SIGTSTP, nullptr, &before_);  // cannot fail for this signal
    if (before_.sa_handler != SIG_IGN) (void)::sigaction(SIGTSTP, &note, nullptr);
  }
  HeldSuspension(const HeldSuspension&) = delete;
  HeldSuspension& operator=(const HeldSuspension&) = delete;
  ~HeldSuspension() {
    (void)::sigaction(SIGTSTP, &before_, nullptr);
    suspendHandle = -1;
    eventfd_t count = 0;
    if (::eventfd_read(noted_.get(), &count) == 0) (void)::raise(SIGTSTP);  // returns when the job goes on
  }

  int waitHandle() const { return noted_.get(); }

 private:
  const FileDescriptor noted_;
  struct sigaction before_ {};
};

/// Puts a terminal back as it was, also where this process is not the one its shell gives the terminal to: a clean-up
/// is not to be stopped by it.
void restore(int fd, const termios& settings) {
  sigset_t output;
  sigset_t before;
  ::sigemptyset(&output);
  ::sigaddset(&output, SIGTTOU);
  (void)::pthread_sigmask(SIG_BLOCK, &output, &before);
  (void)::tcflush(fd, TCIFLUSH);  // half a password is not to become the shell's next line
  // At once, not when all output is out: a terminal held by Ctrl-S would keep us for ever.
  while (::tcsetattr(fd, TCSANOW, &settings) != 0 && errno == EINTR) {
  }
  (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

/// A terminal that does not show what is typed, for as long as this lives.
class HiddenTyping final {
 public:
  /// Throws where the terminal cannot be set up; nothing is read then.
  explicit HiddenTyping(int fd) : fd_(fd) {
    if (::tcgetattr(fd_, &before_) != 0) fail();
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK);
    hidden.c_lflag |= ECHONL | ICANON | ISIG;
    hidden.c_iflag |= ICRNL;
    hidden.c_cc[VQUIT] = _POSIX_VDISABLE;  // it would end the process with the terminal like this
    while (::tcsetattr(fd_, TCSANOW, &hidden) != 0) {
      if (errno != EINTR) fail();
    }
  }
  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;
  ~HiddenTyping() { restore(fd_, before_); }

 private:
  [[noreturn]] static void fail() {
    throw std::system_error(errno, std::generic_category(), "cannot set up the terminal");
  }

  const int fd_;
  termios before_{};
};

/// As much as the terminal takes: one that is gone shows when it is read.
void show(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(fd, text.data(), text.size());
    if (count < 0 && errno != EINTR) return;
    if (count > 0) text.remove_prefix(static_cast<size_t>(count));
  }
}

enum class Ending { line, input, stop, suspension };

Ending readTyped(int fd, int stop, int suspend, std::string& line) {
  line.resize(longestLine);
  size_t length = 0;
  Ending ending = Ending::line;
  for (;;) {
    const InputWait wait = waitForInput(fd, stop, suspend);
    if (wait != InputWait::ready) {
      ending = wait == InputWait::stopped ? Ending::stop : Ending::suspension;
      break;
    }
    const ssize_t count = ::read(fd, line.data() + length, line.size() - length);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0) {
      ending = length > 0 ? Ending::line : Ending::input;
      break;
    }
    length += static_cast<size_t>(count);
    if (line[length - 1] == '\n' || length == line.size()) break;
  }
  line.resize(length);
  if (line.ends_with('\n')) line.pop_back();
  return ending;
}

/// Wipes the line unless one was typed.
Ending askOnce(int fd, const StopRequest& stop, std::string_view prompt, bool isHidden, std::string& line) {
  const HeldSuspension suspension;
  std::optional<HiddenTyping> hidden;
  if (isHidden) hidden.emplace(fd);
  (void)::tcflush(fd, TCIFLUSH);  // what cannot be flushed is asked for all the same
  show(fd, prompt);
  const Ending ending = readTyped(fd, stop.waitHandle(), suspension.waitHandle(), line);
  if (ending == Ending::line) return ending;
  wipe(line);
  show(fd, "\n");
  return ending;
}

bool ask(int fd, const StopRequest& stop, std::string_view prompt, bool isHidden, std::string& line) {
  line.reserve(longestLine);
  Ending ending = Ending::suspension;
  while (ending == Ending::suspension && !stop.isRaised()) ending = askOnce(fd, stop, prompt, isHidden, line);
  return ending == Ending::line;
}

}  // namespace

bool isTerminal(StandardStream stream) {
  return ::isatty(descriptor(stream)) == 1;
}

std::optional<int> terminalColumns(StandardStream stream) {
  winsize size{};
  if (::ioctl(descriptor(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
  return size.ws_col;
}

std::unique_ptr<ControllingTerminal> ControllingTerminal::open(const StopRequest& stop) {
  const int fd = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  return std::unique_ptr<ControllingTerminal>(new ControllingTerminal(fd, stop));
}

ControllingTerminal::~ControllingTerminal() {
  (void)::close(fd_);  // what was written was for the eye
}

std::optional<std::string> ControllingTerminal::readLine(std::string_view prompt) const {
  std::string line;
  if (!ask(fd_, stop_, prompt, false, line)) return std::nullopt;
  return line;
}

std::optional<Password> ControllingTerminal::readPassword(std::string_view prompt) const {
  std::string line;
  const bool isTyped = ask(fd_, stop_, prompt, true, line);
  Password password(std::move(line));
  return isTyped ? std::optional(std::move(password)) : std::nullopt;
}

}  // namespace tavrine
