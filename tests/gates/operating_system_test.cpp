#include <gtest/gtest.h>

#include <regex>

#include "tests/gates/source_tree.h"

namespace tavrine {
namespace {

/// Lines by which a file outside platform/ knows which operating system it runs on.
std::vector<std::string> operatingSystemLines(const SourceFile& file) {
  static const std::regex condition(
      "^\\s*#\\s*(if|ifdef|ifndef|elif)\\b.*\\b(_*linux_*|__unix__|__APPLE__|__MACH__|TARGET_OS_\\w+|_WIN32|_WIN64|"
      "__FreeBSD__|__GLIBC__|_POSIX\\w*|__has_include)\\b.*");
  static const std::regex header(
      "^\\s*#\\s*include\\s+<(sys/|linux/|unistd\\.h|fcntl\\.h|fts\\.h|spawn\\.h|pwd\\.h|grp\\.h|dirent\\.h|signal\\.h|"
      "poll\\.h|pthread\\.h|termios\\.h).*");
  std::vector<std::string> found;
  const bool isPlatform = file.path.starts_with("platform/");
  const bool isForTests = std::regex_match(file.path, std::regex("(tests|fuzz|bench)/.*"));
  for (const std::string& line : file.lines()) {
    const bool isCondition = !isPlatform && std::regex_match(line, condition);
    const bool isHeader = !isPlatform && !isForTests && std::regex_match(line, header);
    if (isCondition || isHeader) found.push_back(file.path + ": " + line);
  }
  return found;
}

TEST(OperatingSystem, IsKnownToThePlatformLayerAlone) {
  for (const SourceFile& file : sourceTree()) EXPECT_EQ(operatingSystemLines(file), std::vector<std::string>());
}

TEST(OperatingSystem, TheGateClosesOnConditionsAndHeaders) {
  for (const char* line : {"#ifdef __linux__", "#  if defined(__APPLE__) && 1", "#elif defined(_WIN32)",
                           "#if TARGET_OS_OSX", "#include <sys/stat.h>", "#include <unistd.h>"}) {
    EXPECT_EQ(operatingSystemLines({"kit/a.cpp", line}).size(), 1u) << line;
    EXPECT_EQ(operatingSystemLines({"platform/linux/a.cpp", line}).size(), 0u) << line;
  }
  EXPECT_EQ(operatingSystemLines({"kit/a.cpp", "#pragma once\n#include <string>\n#ifdef NDEBUG\n"}).size(), 0u);
  EXPECT_EQ(operatingSystemLines({"tests/a.cpp", "#ifdef __linux__"}).size(), 1u);
}

}  // namespace
}  // namespace tavrine
