#include "platform/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "platform/linux/file_descriptor.h"

namespace tavrine {
namespace {

[[noreturn]] void fail(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

void require(int error, const char* what) {
  if (error != 0) fail(error, what);
}

void closeEnd(int& end) {
  (void)FileDescriptor(std::exchange(end, -1));
}

/// Which descriptors the child gets: the three streams and, whatever this process inherited or opened, nothing else.
class StreamActions final {
 public:
  StreamActions(int input, int output) {
    require(::posix_spawn_file_actions_init(&actions_), "posix_spawn_file_actions_init");
    require(::posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO), "posix_spawn_file_actions_adddup2");
    require(::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO), "posix_spawn_file_actions_adddup2");
    require(::posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO), "posix_spawn_file_actions_adddup2");
    require(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1),
            "posix_spawn_file_actions_addclosefrom_np");
  }
  StreamActions(const StreamActions&) = delete;
  StreamActions& operator=(const StreamActions&) = delete;
  ~StreamActions() { (void)::posix_spawn_file_actions_destroy(&actions_); }  // cannot fail for what was initialised

  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

/// A process group of the child's own and signals as a fresh login gives them.
class FreshAttributes final {
 public:
  FreshAttributes() {
    sigset_t all;
    sigset_t none;
    std::memset(&all, 0xff,
                sizeof all);  // sigfillset leaves out two signals of the C library, which the child would ignore
    ::sigemptyset(&none);
    require(::posix_spawnattr_init(&attributes_), "posix_spawnattr_init");
    constexpr int flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    require(::posix_spawnattr_setflags(&attributes_, static_cast<short>(flags)), "posix_spawnattr_setflags");
    require(::posix_spawnattr_setpgroup(&attributes_, 0), "posix_spawnattr_setpgroup");
    require(::posix_spawnattr_setsigdefault(&attributes_, &all), "posix_spawnattr_setsigdefault");
    require(::posix_spawnattr_setsigmask(&attributes_, &none), "posix_spawnattr_setsigmask");
  }
  FreshAttributes(const FreshAttributes&) = delete;
  FreshAttributes& operator=(const FreshAttributes&) = delete;
  ~FreshAttributes() { (void)::posix_spawnattr_destroy(&attributes_); }  // cannot fail for what was initialised

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

/// A process started with SIGCHLD ignored (by nohup-like parents) would have its children's statuses thrown away.
void keepChildStatuses() {
  struct sigaction action {};
  if (::sigaction(SIGCHLD, nullptr, &action) != 0) return;
  const bool isIgnored = (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
  if (!isIgnored && (action.sa_flags & SA_NOCLDWAIT) == 0) return;
  if (isIgnored) action.sa_handler = SIG_DFL;
  action.sa_flags &= ~SA_NOCLDWAIT;
  (void)::sigaction(SIGCHLD, &action, nullptr);  // a failure shows when the status is asked for
}

int32_t spawn(const ChildProcess::Launch& launch, int input, int output) {
  const StreamActions actions(input, output);
  const FreshAttributes attributes;
  std::string executable = launch.executable.string();
  std::vector<std::string> texts = launch.arguments;
  std::vector<char*> arguments = {executable.data()};
  for (std::string& text : texts) arguments.push_back(text.data());
  arguments.push_back(nullptr);
  pid_t pid = 0;
  const int error = ::posix_spawn(&pid, executable.c_str(), actions.get(), attributes.get(), arguments.data(), environ);
  if (error != 0) {
    throw std::filesystem::filesystem_error("cannot start", launch.executable,
                                            std::error_code(error, std::generic_category()));
  }
  return pid;
}

int32_t statusNumber(int status) {
  return WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

Pipe::Pipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) fail(errno, "pipe");
  readEnd_ = ends[0];
  writeEnd_ = ends[1];
}

Pipe::~Pipe() {
  closeReadEnd();
  closeWriteEnd();
}

std::string Pipe::readToEnd() {
  std::string bytes;
  for (;;) {
    std::array<char, size_t{64} * 1024> chunk;  // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
    const ssize_t count = ::read(readEnd_, chunk.data(), chunk.size());
    if (count > 0) bytes.append(chunk.data(), static_cast<size_t>(count));
    if (count == 0 || (count < 0 && errno != EINTR)) return bytes;
  }
}

bool Pipe::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(writeEnd_, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void Pipe::closeReadEnd() {
  closeEnd(readEnd_);
}

void Pipe::closeWriteEnd() {
  closeEnd(writeEnd_);
}

ChildProcess::ChildProcess(const Launch& launch) {
  // Held here, they are closed whichever way this ends; an open write end would keep the reader of the output waiting
  // for ever.
  const FileDescriptor input(std::exchange(launch.input.readEnd_, -1));
  const FileDescriptor output(std::exchange(launch.output.writeEnd_, -1));
  keepChildStatuses();
  pid_ = spawn(launch, input.get(), output.get());
  // By number: the C library's declaration of it cannot be linked from C++ in version 2.36.
  watch_ = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
}

ChildProcess::~ChildProcess() {
  try {
    if (isRunning()) {
      terminate();
      (void)waitForExit();  // nobody is left to ask for the status
    }
  } catch (const std::system_error&) {  // the child is out of reach, there is nothing left to wait for
  }
  closeEnd(watch_);
}

bool ChildProcess::isRunning() {
  if (status_) return false;
  int status = 0;
  pid_t ended = 0;
  while ((ended = ::waitpid(pid_, &status, WNOHANG)) < 0 && errno == EINTR) {
  }
  if (ended < 0) fail(errno, "waitpid");
  if (ended == 0) return true;
  status_ = statusNumber(status);
  return false;
}

void ChildProcess::waitAtMost(std::chrono::milliseconds limit) const {
  // A negative descriptor is passed over by poll, which then is a plain pause.
  pollfd watched{watch_, POLLIN, 0};
  (void)::poll(&watched, 1, static_cast<int>(limit.count()));  // an early return is allowed
}

void ChildProcess::terminate() {
  // While it has not been waited for, the child's number is not given to another process.
  if (!status_) (void)::kill(pid_, SIGTERM);  // it may have ended in this moment
}

int32_t ChildProcess::waitForExit() {
  int status = 0;
  while (!status_) {
    if (::waitpid(pid_, &status, 0) == pid_) {
      status_ = statusNumber(status);
    } else if (errno != EINTR) {
      fail(errno, "waitpid");
    }
  }
  return *status_;
}

int64_t bytesReadSoFar() {
  std::ifstream account("/proc/self/io");
  for (std::string line; std::getline(account, line);) {
    constexpr std::string_view key = "rchar: ";
    if (line.starts_with(key)) return std::strtoll(line.c_str() + key.size(), nullptr, 10);
  }
  return 0;
}

void ignoreBrokenPipes() {
  (void)std::signal(SIGPIPE, SIG_IGN);
}  // cannot fail for this signal

std::optional<Path> executableOfProcess(int32_t pid) {
  std::array<char, 4096> path{};
  const ssize_t length = ::readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), path.data(), path.size());
  if (length <= 0) return std::nullopt;
  return Path(std::string_view(path.data(), static_cast<size_t>(length)));
}

}  // namespace tavrine
