#include "tests/programs/lsof/holding_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace tavrine {
namespace {

[[noreturn]] void holdUntilToldToStop(const std::function<void()>& hold, int stopEnd, int readyEnd) {
  (void)::dup2(stopEnd, STDIN_FILENO);
  char byte = 'r';
  try {
    hold();
  } catch (const std::exception&) {
    byte = 'x';
  }
  if (::write(readyEnd, &byte, 1) != 1) ::_exit(1);
  while (::read(STDIN_FILENO, &byte, 1) > 0) continue;
  ::_exit(0);
}

}  // namespace

HoldingProcess::HoldingProcess(const std::function<void()>& hold) {
  std::array<int, 2> stop{};
  std::array<int, 2> ready{};
  if (::pipe2(stop.data(), O_CLOEXEC) != 0 || ::pipe2(ready.data(), O_CLOEXEC) != 0)
    throw std::runtime_error("no pipe");
  stop_ = FileDescriptor(stop[1]);
  const FileDescriptor readyEnd(ready[0]);
  pid_ = ::fork();
  if (pid_ == 0) {
    (void)stop_.close();
    holdUntilToldToStop(hold, stop[0], ready[1]);
  }
  (void)::close(stop[0]);
  (void)::close(ready[1]);
  char byte = 'r';
  // Nothing comes where `hold` ran a program in place of the process, and where it ended.
  const ssize_t count = ::read(readyEnd.get(), &byte, 1);
  if (byte != 'r' || (count == 0 && ::waitpid(pid_, nullptr, WNOHANG) != 0))
    throw std::runtime_error("nothing is held");
}

HoldingProcess::~HoldingProcess() {
  (void)stop_.close();
  (void)::waitpid(pid_, nullptr, 0);
}

}  // namespace tavrine
