#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <string_view>
#include <vector>

#include "platform/linux/programs/die_with_parent.h"
#include "platform/linux/programs/ditto/messages.h"
#include "platform/linux/programs/ditto/tree_copy.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace tavrine {
namespace {

constexpr const char* usage = "usage: ditto SOURCE DESTINATION";

constexpr const char* help = R"(
Copies a file, a symbolic link, or the contents of a folder, with modes, times, owners (where this user may give them),
links, extended attributes, access-control lists and holes. Links are copied, never followed. Sockets are left out.

A folder DESTINATION is made when missing; one that is there keeps its own attributes. Nothing is ever replaced: a file that
is there already is an error.

Each thing that could not be copied gives one line "ditto: PATH: reason" and the exit code 1; the rest is copied all the same.
A file that changes meanwhile is an error too.
)";

/// SIGTERM ends the program even where the one that started it had ignored or blocked it. A file size limit is an error
/// like others.
void setSignals() {
  (void)std::signal(SIGTERM, SIG_DFL);
  (void)std::signal(SIGXFSZ, SIG_IGN);
  sigset_t termination;
  ::sigemptyset(&termination);
  ::sigaddset(&termination, SIGTERM);
  ::pthread_sigmask(SIG_UNBLOCK, &termination, nullptr);
}

int refuse(std::string_view reason) {
  (void)std::fprintf(stderr, "ditto: %s; %s\n", repairedUtf8(reason).c_str(), usage);
  return 1;
}

int run(std::vector<std::string_view> arguments) {
  if (arguments.size() == 1 && arguments[0] == "--help") {
    std::printf("%s\n%s", usage, help);
    return std::fflush(stdout) == 0 ? 0 : 1;
  }
  if (!arguments.empty() && arguments[0] == "--") {
    arguments.erase(arguments.begin());
  } else {
    for (const std::string_view argument : arguments) {
      if (argument.starts_with('-')) return refuse("unknown option " + std::string(argument));
    }
  }
  if (arguments.size() != 2) return refuse("two paths are needed");
  Messages messages;
  TreeCopy(messages).run(withoutSlashAtEnd(arguments[0]), withoutSlashAtEnd(arguments[1]));
  return messages.anyError() ? 1 : 0;
}

}  // namespace
}  // namespace tavrine

int main(int argc, char** argv) {
  tavrine::dieWithParent();
  tavrine::setSignals();
  (void)::umask(0);  // every mode is given in full
  try {
    return tavrine::run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    (void)std::fprintf(stderr, "ditto: %s\n", error.what());
    return 1;
  }
}
