#include "platform/desktop.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>

namespace tavrine {

namespace {

constexpr short detached = POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;

}  // namespace

bool openOnDesktop(const Path& path) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  if (::posix_spawn_file_actions_init(&actions) != 0) return false;
  if (::posix_spawnattr_init(&attributes) != 0) {
    (void)::posix_spawn_file_actions_destroy(&actions);
    return false;
  }
  // A session of its own and no streams: what is opened stays when the terminal goes, and writes nothing into it.
  bool isReady = ::posix_spawnattr_setflags(&attributes, detached) == 0;
  // What stops us is blocked here, and must be able to stop what is opened.
  sigset_t all;
  sigset_t none;
  (void)::sigfillset(&all);
  (void)::sigemptyset(&none);
  isReady = isReady && ::posix_spawnattr_setsigdefault(&attributes, &all) == 0 &&
            ::posix_spawnattr_setsigmask(&attributes, &none) == 0;
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    isReady = isReady && ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0) == 0;
  }
  std::string program = "xdg-open";
  std::string argument = path.string();
  const std::array<char*, 3> arguments = {program.data(), argument.data(), nullptr};
  pid_t child = 0;
  const bool isStarted =
      isReady && ::posix_spawnp(&child, program.c_str(), &actions, &attributes, arguments.data(), environ) == 0;
  (void)::posix_spawn_file_actions_destroy(&actions);  // cannot fail for what was initialised
  (void)::posix_spawnattr_destroy(&attributes);
  return isStarted;
}

}  // namespace tavrine
