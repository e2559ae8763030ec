#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "tests/gates/source_tree.h"

namespace tavrine {
namespace {

/// The test files among `files` that no target builds.
std::vector<std::string> unbuiltTests(const std::vector<SourceFile>& files, const std::set<std::string>& built) {
  std::vector<std::string> found;
  for (const SourceFile& file : files) {
    if (file.path.ends_with("_test.cpp") && !built.contains(file.path)) found.push_back(file.path);
  }
  return found;
}

std::set<std::string> builtTests() {
  std::set<std::string> built;
  std::ifstream list(TAVRINE_BUILT_TESTS);
  for (std::string line; std::getline(list, line);) {
    built.insert(std::filesystem::path(line).lexically_relative(TAVRINE_SOURCE_DIR));
  }
  return built;
}

TEST(BuiltTests, EveryTestFileIsBuilt) {
  EXPECT_EQ(unbuiltTests(sourceTree(), builtTests()), std::vector<std::string>());
}

TEST(BuiltTests, TheGateClosesOnAForgottenTest) {
  const std::vector<SourceFile> files = {{"tests/a_test.cpp", ""}, {"tests/b_test.cpp", ""}, {"tests/fixture.cpp", ""}};
  EXPECT_EQ(unbuiltTests(files, {"tests/a_test.cpp"}), std::vector<std::string>{"tests/b_test.cpp"});
}

}  // namespace
}  // namespace tavrine
