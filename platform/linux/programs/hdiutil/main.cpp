#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "platform/linux/programs/die_with_parent.h"
#include "platform/linux/programs/hdiutil/image_guard.h"
#include "platform/linux/programs/hdiutil/tool_error.h"
#include "platform/linux/programs/hdiutil/verbs.h"

namespace tavrine {
namespace {

/// One line, whatever the names in it hold.
std::string asOneLine(std::string text) {
  for (char& character : text) {
    if (static_cast<unsigned char>(character) < ' ') character = '?';
  }
  return text;
}

int report(const std::string& what, int status = failedStatus) {
  std::cerr << "hdiutil: " << asOneLine(what) << '\n';
  return status;
}

void runVerb(const Arguments& arguments) {
  if (arguments.verb == "create") return createImage(arguments);
  if (arguments.verb == "attach") return attachImage(arguments);
  if (arguments.verb == "detach") return detachImage(arguments);
  if (arguments.verb == "chpass") return changeImagePassword(arguments);
  return printAttachedImages(arguments);
}

int run(const std::vector<std::string>& words) {
  if (!words.empty() && words.front() == guardVerb) return runGuard(words);
  dieWithParent();
  if (!words.empty() && (words.front() == "--help" || words.front() == "-h" || words.front() == "help")) {
    std::cout << helpText() << std::flush;
    return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  const Arguments arguments = parseArguments(words);
  const std::string failed = arguments.verb + " failed - ";
  try {
    runVerb(arguments);
    return EXIT_SUCCESS;
  } catch (const ToolError& error) {
    return report(failed + error.what(), error.status());
  } catch (const std::system_error& error) {
    return report(failed + error.code().message());
  }
}

}  // namespace
}  // namespace tavrine

int main(int count, char** words) {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGCHLD, SIG_DFL);  // ignored, as a starter may leave it, it would keep the ends of children from being told
  try {
    return tavrine::run({words + std::min(count, 1), words + count});
  } catch (const tavrine::ToolError& error) {
    return tavrine::report(error.what(), error.status());
  }
}
