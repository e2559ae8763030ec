#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <fstream>
#include <string>

namespace tavrine {

/// What `work` returns in a child of this process, whose rights and mounts it may change; a text: what it found wrong.
template <typename Work>
std::string inChild(Work work) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) return "no pipe";
  const pid_t child = ::fork();
  if (child == 0) {
    std::string text;
    try {
      text = work();
    } catch (const std::exception& error) {
      text = error.what();
    }
    ::_exit(::write(pipe[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  ::close(pipe[1]);
  std::string text;
  char buffer[512];
  for (ssize_t count = 0; (count = ::read(pipe[0], buffer, sizeof buffer)) > 0;) text.append(buffer, size_t(count));
  ::close(pipe[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  return status == 0 ? text : text + " (the child failed)";
}

/// Gives this process, a child, rights that it has nobody's files for. Nothing to do where it is an ordinary user.
inline bool becomeOrdinaryUser() {
  constexpr uid_t nobody = 65534;
  return ::geteuid() != 0 || (::setgid(nobody) == 0 && ::setuid(nobody) == 0);
}

/// Gives this process, a child, mounts of its own that it may change.
inline bool enterMountSpace() {
  const uid_t user = ::geteuid();
  if (::unshare(user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) return false;
  if (user != 0) {
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
  }
  return ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

inline bool canMount() {
  return inChild([] { return enterMountSpace() ? "" : "no"; }).empty();
}

}  // namespace tavrine
