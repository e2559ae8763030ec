#pragma once

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace tavrine {

/// A copy of this process in a session and on a terminal of its own; this side is the person in front of it.
class PtySession final {
 public:
  /// The copy's exit code is what `work` returns, or 99 for an exception.
  explicit PtySession(const std::function<int()>& work) {
    pid_ = ::forkpty(&person_, nullptr, nullptr, nullptr);
    if (pid_ < 0) throw std::runtime_error("no terminal can be made");
    if (pid_ == 0) ::_exit(result(work));
  }
  PtySession(const PtySession&) = delete;
  PtySession& operator=(const PtySession&) = delete;
  ~PtySession() {
    hangUp();
    if (pid_ <= 0) return;
    (void)::kill(pid_, SIGKILL);
    (void)::waitpid(pid_, nullptr, 0);
  }

  /// Waits until the text was shown behind what was waited for before. Whether it was, within some seconds.
  bool sees(const std::string& text) {
    for (size_t found = 0;; readMore()) {
      found = shown_.find(text, seen_);
      if (found != std::string::npos) {
        seen_ = found + text.size();
        return true;
      }
      pollfd watched{person_, POLLIN, 0};
      if (::poll(&watched, 1, 20'000) <= 0 || (watched.revents & POLLIN) == 0) return false;
    }
  }

  void type(const std::string& text) const { (void)!::write(person_, text.data(), text.size()); }
  void send(int signal) const { (void)::kill(pid_, signal); }

  bool showsWhatIsTyped() const {
    termios settings{};
    return ::tcgetattr(person_, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
  }

  /// Takes the terminal away.
  void hangUp() {
    if (person_ >= 0) (void)::close(std::exchange(person_, -1));
  }

  /// The copy's exit code; 1000 and the signal that ended it.
  int waitForExit() {
    int status = 0;
    (void)::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }

  /// All that was shown so far.
  const std::string& shown() {
    for (pollfd watched{person_, POLLIN, 0}; ::poll(&watched, 1, 0) > 0 && (watched.revents & POLLIN) != 0;) readMore();
    return shown_;
  }

 private:
  static int result(const std::function<int()>& work) {
    (void)::alarm(60);
    try {
      return work();
    } catch (const std::exception&) {
      return 99;
    }
  }

  void readMore() {
    std::string part(4096, '\0');
    const ssize_t count = ::read(person_, part.data(), part.size());
    if (count > 0) shown_.append(part, 0, static_cast<size_t>(count));
  }

  int person_ = -1;
  pid_t pid_ = -1;
  std::string shown_;
  size_t seen_ = 0;
};

}  // namespace tavrine
