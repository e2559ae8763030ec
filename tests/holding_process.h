#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <functional>
#include <stdexcept>

#include "platform/process.h"

namespace tavrine {

/// A copy of this process that does what `hold` does and keeps what it has then, until this object goes or some minutes
/// are over.
class HoldingProcess final {
 public:
  /// Returns when `hold` has returned, or has replaced the process by a program that does not end by itself.
  explicit HoldingProcess(const std::function<void()>& hold) {
    Pipe failure;
    pid_ = ::fork();
    if (pid_ == 0) keep(hold, failure);
    failure.closeWriteEnd();
    const std::string text = failure.readToEnd();
    if (!text.empty()) throw std::runtime_error(text);
  }
  HoldingProcess(const HoldingProcess&) = delete;
  HoldingProcess& operator=(const HoldingProcess&) = delete;
  ~HoldingProcess() {
    (void)::kill(pid_, SIGKILL);
    (void)::waitpid(pid_, nullptr, 0);
  }

  int pid() const { return pid_; }

 private:
  [[noreturn]] static void keep(const std::function<void()>& hold, Pipe& failure) {
    (void)::alarm(300);
    try {
      hold();
    } catch (const std::exception& error) {
      (void)failure.write(error.what());
      ::_exit(1);
    }
    failure.closeWriteEnd();
    for (;;) (void)::pause();
  }

  int pid_ = -1;
};

}  // namespace tavrine
