/// lsof: tells which processes hold files open at or below a path.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/linux/programs/die_with_parent.h"
#include "platform/linux/programs/lsof/process_scan.h"

namespace tavrine {
namespace {

constexpr const char* usage =
    R"(usage: lsof -F pcfa [+D] PATH

Lists the processes that hold PATH open; with +D also those that hold anything below it. A process holds a file by a
descriptor, as its working or root folder, as the program it runs, or mapped into its memory. Deleted files count.
Left out are processes that you may not look into, and files whose path is longer than 4095 bytes. Below a folder, a file
that is open by a name outside of it (a hard link) is not found.

  -F pcfa   the fields to print, one a line: p process number, c command name (at most 31 bytes), and for each file
            f descriptor (a number, cwd, rtd, txt or mem) and a access (r, w, u for both, or a space for neither)
  --help    prints this text

Exit status: 0 when the search was finished, also when it found nothing and printed nothing; 1 when it was not.
A search that was not finished prints nothing at all where standard output and standard error are one pipe or file:
a message there could be taken for the answer that nothing is open.
)";

struct Request {
  std::string path;
  Target::Extent extent = Target::Extent::itself;
  bool wantsHelp = false;
};

/// Throws `std::invalid_argument` with the sentence for the user.
Request parsed(const std::vector<std::string>& arguments) {
  Request request;
  bool hasFields = false;
  size_t next = 0;
  for (; next < arguments.size() && (arguments[next].starts_with('-') || arguments[next].starts_with('+')); ++next) {
    const std::string& option = arguments[next];
    if (option == "--help") {
      request.wantsHelp = true;
      return request;
    }
    if (option == "+D") {
      request.extent = Target::Extent::tree;
    } else if (option == "-F" && next + 1 < arguments.size() && arguments[next + 1] == "pcfa") {
      hasFields = true;
      ++next;
    } else if (option == "-F") {
      throw std::invalid_argument("-F takes pcfa");
    } else {
      throw std::invalid_argument("unknown option " + option);
    }
  }
  if (!hasFields) throw std::invalid_argument("-F pcfa is missing");
  if (next + 1 != arguments.size() || arguments[next].empty()) throw std::invalid_argument("one PATH is needed");
  request.path = arguments[next];
  return request;
}

/// Whether what is written to standard error arrives between the lines of the answer.
bool streamsAreMerged() {
  struct stat output {};
  struct stat error {};
  return ::fstat(STDOUT_FILENO, &output) == 0 && ::fstat(STDERR_FILENO, &error) == 0 && output.st_dev == error.st_dev &&
         output.st_ino == error.st_ino && ::isatty(STDERR_FILENO) == 0;
}

int refused(std::string_view message) {
  // Where even standard error cannot be written to, the status has to do; so in all that follows.
  (void)std::fprintf(stderr, "lsof: %.*s; lsof --help tells more\n", static_cast<int>(message.size()), message.data());
  return 1;
}

/// Whoever reads both streams as one takes any text for an answer, and an answer without holders for "nothing is open".
int notFinished(const char* message) {
  if (!streamsAreMerged()) (void)std::fprintf(stderr, "lsof: %s\n", message);
  return 1;
}

/// In one piece at the end: a search that fails half-way must not have printed half an answer.
int printed(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    return notFinished("cannot write to standard output");
  }
  return 0;
}

int run(const std::vector<std::string>& arguments) {
  Request request;
  try {
    request = parsed(arguments);
  } catch (const std::invalid_argument& wrong) {
    return refused(wrong.what());
  }
  if (request.wantsHelp) return printed(usage);
  dieWithParent();
  try {
    Target target(request.path, request.extent);
    std::string text;
    for (const Holder& holder : holdersOf(target)) text += fieldLines(holder);
    return printed(text);
  } catch (const std::exception& failure) {
    // Whatever it was: the library reports an uncaught one on standard error, where it could pass for an answer.
    return notFinished(failure.what());
  }
}

}  // namespace
}  // namespace tavrine

int main(int argc, char** argv) {
  return tavrine::run(std::vector<std::string>(argv + 1, argv + argc));
}
