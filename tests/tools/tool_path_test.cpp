#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "kit/tools/process_runner.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// What the probe says about "tool" when it lies at `place` and the tool at `tool`, both below one folder, and relative
/// to it.
std::string found(const std::string& place, const std::string& tool) {
  const TemporaryFolder folder;
  fs::create_directories((folder / place).parent_path());
  fs::create_directories((folder / tool).parent_path());
  fs::copy_file(TAVRINE_TOOL_PATH_PROBE, folder / place);
  std::ofstream(folder / tool) << "x";
  const ProcessResult result = ProcessRunner::run(folder / place, {"tool"});
  return fs::path(result.output).lexically_relative(folder.path());
}

TEST(ToolPath, IsFoundFromAnInstalledAndFromABuiltProgram) {
  EXPECT_EQ(found("usr/bin/tavrine", "usr/libexec/tavrine/tool"), "usr/libexec/tavrine/tool\n");
  EXPECT_EQ(found("build/tests/bin/tests", "build/libexec/tavrine/tool"), "build/libexec/tavrine/tool\n");
  EXPECT_EQ(found("usr/libexec/tavrine/hdiutil", "usr/libexec/tavrine/tool"), "usr/libexec/tavrine/tool\n");
  EXPECT_EQ(found("usr/bin/tavrine", "usr/libexec/tool"), "usr/libexec/tavrine/tool\n")
      << "a missing tool is named all the same";
}

}  // namespace
}  // namespace tavrine
