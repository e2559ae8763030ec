#include "platform/linux/programs/hdiutil/child.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "platform/linux/programs/hdiutil/tool_error.h"

namespace tavrine {
namespace {

constexpr int notRun = 127;

std::vector<char*> argumentVector(const std::vector<std::string>& words) {
  std::vector<char*> vector;
  for (const std::string& word : words) vector.push_back(const_cast<char*>(word.c_str()));  // exec changes nothing
  vector.push_back(nullptr);
  return vector;
}

void resetSignals() {
  for (int number = 1; number < NSIG; ++number)
    (void)::signal(number, SIG_DFL);  // refused for KILL, STOP and the library's own
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Puts the descriptors in their places by way of high numbers, so that none is overwritten before it was moved.
bool placeDescriptors(const std::vector<int>& descriptors) {
  constexpr int high = 64;
  std::vector<int> moved;
  for (const int descriptor : descriptors) moved.push_back(::fcntl(descriptor, F_DUPFD, high));
  for (size_t number = 0; number < moved.size(); ++number) {
    if (moved[number] < 0 || ::dup2(moved[number], static_cast<int>(number)) < 0) return false;
  }
  return ::close_range(static_cast<unsigned>(descriptors.size()), ~0U, 0) == 0;
}

/// What the starter may use of files and processor time is not what all users of a volume may.
void liftLimits() {
  for (const auto resource : {RLIMIT_FSIZE, RLIMIT_CPU}) {
    rlimit limit{};
    if (::getrlimit(resource, &limit) != 0) continue;
    limit.rlim_cur = limit.rlim_max;
    (void)::setrlimit(resource, &limit);  // up to the hard limit it is allowed
  }
}

void arrangeLife(Launch::Life life, pid_t starter) {
  if (life == Launch::Life::ofItsOwn) {
    (void)::setsid();  // a fresh child leads no group, so it cannot fail
    liftLimits();
    if (::chdir("/") != 0) ::_exit(notRun);
    return;
  }
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != starter) ::_exit(notRun);  // it ended before it could be watched
}

[[noreturn]] void becomeProgram(const Launch& launch, char* const* arguments, pid_t starter) {
  arrangeLife(launch.life, starter);
  resetSignals();
  if (!placeDescriptors(launch.descriptors)) ::_exit(notRun);
  ::execvp(launch.program.c_str(), arguments);
  ::dprintf(STDERR_FILENO, "cannot run %s: %s\n", launch.program.c_str(),
            std::strerror(errno));  // NOLINT(concurrency-mt-unsafe): the program has one thread
  ::_exit(notRun);
}

}  // namespace

pid_t startChild(const Launch& launch) {
  const std::vector<char*> arguments = argumentVector(launch.command);
  const pid_t starter = ::getpid();
  const pid_t pid = ::fork();
  if (pid < 0) throw ToolError::system("cannot start a process");
  if (pid == 0) becomeProgram(launch, arguments.data(), starter);
  return pid;
}

int waitForChild(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) throw ToolError::system("cannot wait for a process");
  }
  return status;
}

FileDescriptor pipeHolding(std::string_view text) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) throw ToolError::system("cannot make a pipe");
  FileDescriptor readEnd(ends[0]);
  const FileDescriptor writeEnd(ends[1]);
  if (::write(writeEnd.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw ToolError::system("cannot fill a pipe");
  }
  // Only the filling must not wait; what reads the pipe expects one that does.
  if (::fcntl(readEnd.get(), F_SETFL, 0) != 0) throw ToolError::system("cannot set up a pipe");
  return readEnd;
}

FileDescriptor nullDevice() {
  FileDescriptor device(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!device.isOpen()) throw ToolError::system("/dev/null");
  return device;
}

OutputBuffer::OutputBuffer() : file_(::memfd_create("output", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
  if (!file_.isOpen() || ::fcntl(file_.get(), F_SETFL, O_APPEND) != 0) throw ToolError::system("cannot make a buffer");
}

std::string OutputBuffer::text() const {
  constexpr size_t most = 16 * 1024;
  std::string text(most, '\0');
  const ssize_t count = ::pread(file_.get(), text.data(), text.size(), 0);
  text.resize(count > 0 ? static_cast<size_t>(count) : 0);
  return text;
}

void OutputBuffer::close() const {
  (void)::fcntl(file_.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW);  // not sealed it only grows
}

}  // namespace tavrine
