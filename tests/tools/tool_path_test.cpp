#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "kit/tools/process_runner.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

TEST(ToolPath, IsFoundFromAnInstalledAndFromABuiltProgram) {
  const std::pair<const char*, const char*> rows[] = {{"usr/bin/tavrine", "usr/libexec/tavrine/tool"},
                                                      {"build/tests/bin/tests", "build/libexec/tavrine/tool"},
                                                      {"missing/bin/tavrine", "missing/libexec/tavrine/tool"}};
  const TemporaryFolder folder;
  for (const auto& [program, tool] : rows) {
    fs::create_directories((folder / program).parent_path());
    fs::copy_file(TAVRINE_TOOL_PATH_PROBE, folder / program);
    fs::create_directories((folder / tool).parent_path());
    if (!std::string_view(tool).starts_with("missing")) std::ofstream(folder / tool) << "x";
    EXPECT_EQ(ProcessRunner::run(folder / program, {"tool"}).output, (folder / tool).string());
  }
}

}  // namespace
}  // namespace tavrine
