#include <gtest/gtest.h>

#include <regex>

#include "tests/gates/source_tree.h"

namespace tavrine {
namespace {

/// Lines by which a file knows what only another layer may: outside platform/ which operating system it runs on, in a
/// condition or by a header that is not the language's own; outside the records and commands of the kit, JSON.
std::vector<std::string> misplacedLines(const SourceFile& file) {
  static const std::regex condition(
      "^\\s*#\\s*(if|ifdef|ifndef|elif)\\b.*\\b(_*linux_*|_*unix_*|__APPLE__|__MACH__|TARGET_OS_\\w+|_WIN\\w+|"
      "__\\w*BSD\\w*__|__CYGWIN__|__ANDROID__|__GLIBC__|_POSIX\\w*|__has_include)\\b.*");
  static const std::regex header("^\\s*#\\s*include\\s+<[^>]+\\.h>.*");
  static const std::regex json("^\\s*#\\s*include\\s+<nlohmann/.*");
  const bool isPlatform = file.path.starts_with("platform/");
  const bool knowsJSON = file.path.starts_with("kit/records/") || file.path.starts_with("kit/commands/");
  std::vector<std::string> found;
  for (const std::string& line : file.lines()) {
    const bool isCondition = !isPlatform && std::regex_match(line, condition);
    const bool isHeader = !isPlatform && !file.isForTests() && std::regex_match(line, header);
    const bool isJSON = !knowsJSON && !file.isForTests() && std::regex_match(line, json);
    if (isCondition || isHeader || isJSON) found.push_back(file.path + ": " + line);
  }
  return found;
}

TEST(Knowledge, OfTheOperatingSystemAndOfJSONStaysInItsLayer) {
  for (const SourceFile& file : sourceTree()) EXPECT_EQ(misplacedLines(file), std::vector<std::string>());
}

TEST(Knowledge, TheGateClosesOnConditionsAndHeaders) {
  for (const char* line : {"#ifdef __linux__", "#  if defined(__APPLE__) && 1", "#elif defined(_WIN32)",
                           "#ifdef __unix", "#if TARGET_OS_OSX", "#include <sys/stat.h>", "#include <unistd.h>"}) {
    EXPECT_EQ(misplacedLines({"kit/records/a.cpp", line}).size(), 1u) << line;
    EXPECT_EQ(misplacedLines({"platform/linux/a.cpp", line}).size(), 0u) << line;
  }
  EXPECT_EQ(misplacedLines({"kit/a.cpp", "#pragma once\n#include <string>\n#ifdef NDEBUG\n"}).size(), 0u);
  EXPECT_EQ(misplacedLines({"kit/tools/a.cpp", "#include <nlohmann/json.hpp>"}).size(), 1u);
  EXPECT_EQ(misplacedLines({"kit/records/a.cpp", "#include <nlohmann/json.hpp>"}).size(), 0u);
  EXPECT_EQ(misplacedLines({"tests/a.cpp", "#ifdef __linux__"}).size(), 1u);
}

}  // namespace
}  // namespace tavrine
