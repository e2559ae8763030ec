#include "tests/programs/ditto/program.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <utility>

namespace tavrine {
namespace {

constexpr uid_t ordinaryUser = 65534;

[[noreturn]] void become(std::vector<std::string>& arguments, int output, const Program::Preparation& prepare) {
  if (prepare && !prepare()) ::_exit(Program::notPrepared);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  ::execvp(pointers[0], pointers.data());
  ::_exit(127);
}

bool writeText(const char* file, const std::string& text) {
  const int fd = ::open(file, O_WRONLY | O_CLOEXEC);
  const bool isWritten = fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  ::close(fd);
  return isWritten;
}

/// Gives this process a mount table of its own; an ordinary user may only do so among users of his own.
bool leaveNamespaces() {
  if (::geteuid() == 0) return ::unshare(CLONE_NEWNS) == 0;
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  return ::unshare(CLONE_NEWNS | CLONE_NEWUSER) == 0 && writeText("/proc/self/setgroups", "deny") &&
         writeText("/proc/self/uid_map", user + " " + user + " 1") &&
         writeText("/proc/self/gid_map", group + " " + group + " 1");
}

}  // namespace

Program::Program(std::vector<std::string> arguments, const Preparation& prepare) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  pid_ = ::fork();
  if (pid_ == 0) become(arguments, ends[1], prepare);
  ::close(ends[1]);
  output_ = ends[0];
}

Program::~Program() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    (void)wait();
  }
}

bool Program::hasEnded() const {
  siginfo_t info{};
  return ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid_;
}

void Program::signal(int number) const {
  ::kill(pid_, number);
  if (number == SIGSTOP) ::waitpid(pid_, nullptr, WUNTRACED);
}

Outcome Program::wait() {
  Outcome outcome;
  char buffer[4096];
  for (ssize_t count = 0; (count = ::read(output_, buffer, sizeof buffer)) > 0;) {
    outcome.output.append(buffer, static_cast<size_t>(count));
  }
  ::close(output_);
  int status = 0;
  struct rusage usage {};
  ::wait4(std::exchange(pid_, -1), &status, 0, &usage);
  outcome.status = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  outcome.peakKiB = usage.ru_maxrss;
  return outcome;
}

Outcome run(std::vector<std::string> arguments, const Program::Preparation& prepare) {
  return Program(std::move(arguments), prepare).wait();
}

bool becomeOrdinaryUser() {
  if (::geteuid() != 0) return true;
  return ::setgroups(0, nullptr) == 0 && ::setgid(ordinaryUser) == 0 && ::setuid(ordinaryUser) == 0;
}

Program::Preparation limitedTo(unsigned files) {
  return [files] {
    const rlimit limit{files, files};
    return ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
  };
}

Program::Preparation mounted(std::string folder, std::string type, std::string options) {
  return [folder = std::move(folder), type = std::move(type), options = std::move(options)] {
    return leaveNamespaces() && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("none", folder.c_str(), type.c_str(), 0, options.c_str()) == 0;
  };
}

}  // namespace tavrine
