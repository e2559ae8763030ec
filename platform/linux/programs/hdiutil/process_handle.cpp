#include "platform/linux/programs/hdiutil/process_handle.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

bool isStoppedThread(const fs::path& folder) {
  std::string status;
  std::getline(std::ifstream(folder / "stat"), status, '\0');
  const size_t name = status.rfind(')');  // the name before it may hold anything
  return name != std::string::npos && status.substr(name, 3) == ") T";
}

/// Whether no thread of the process is inside a system call any more.
bool isStopped(pid_t pid) {
  std::error_code error;
  fs::directory_iterator thread("/proc/" + std::to_string(pid) + "/task", error);
  for (; !error && thread != fs::directory_iterator(); thread.increment(error)) {
    if (!isStoppedThread(thread->path())) return false;
  }
  return !error;
}

}  // namespace

ProcessHandle::ProcessHandle(pid_t pid) : pid_(pid), handle_(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))) {}

bool ProcessHandle::hasEnded(milliseconds limit) const {
  pollfd watched{handle_.get(), POLLIN, 0};
  return ::poll(&watched, 1, static_cast<int>(limit.count())) == 1;
}

FileDescriptor ProcessHandle::descriptor(int number) const {
  return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_getfd, handle_.get(), number, 0)));
}

void ProcessHandle::kill() const {
  send(SIGKILL);
}

void ProcessHandle::killBetweenCalls() const {
  constexpr milliseconds step{2};
  constexpr int mostSteps = 500;
  // A stop takes effect behind the call that a thread is in, a kill cuts it off. A thread that hangs in one is not
  // waited for.
  send(SIGSTOP);
  for (int i = 0; i < mostSteps && !isStopped(pid_); ++i) {
    if (hasEnded(step)) return;
  }
  kill();
}

void ProcessHandle::send(int signal) const {
  (void)::syscall(SYS_pidfd_send_signal, handle_.get(), signal, nullptr, 0);  // fails for one that has ended, as wanted
}

}  // namespace tavrine
