#include "app/command_line.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "kit/commands/shared_state.h"
#include "kit/commands/tavrine_command.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// The program in a state folder of its own.
class CommandLine : public testing::Test {
 protected:
  CommandLine() { ::setenv("XDG_STATE_HOME", (folder_ / "state").c_str(), 1); }

  ExitCode run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "tavrine");
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const ExitCode code = runCommandLine(static_cast<int>(argv.size()), argv.data());
    out_ = testing::internal::GetCapturedStdout();
    error_ = testing::internal::GetCapturedStderr();
    return code;
  }

  const TemporaryFolder folder_;
  std::string out_;
  std::string error_;
};

TEST_F(CommandLine, MenuShowsTheEntriesOfASelection) {
  const std::string item = (folder_ / "Taxes.tavrlock").string();
  SharedState{{item}, SharedState::currentBootTime()}.write(*SharedState::defaultURL());
  EXPECT_EQ(run({"menu", item}), ExitCode::done);
  const std::string url = TavrineCommand::reveal(item).url();
  EXPECT_EQ(out_, "Lock Now\t" + TavrineCommand::lockNow({item}).url() + "\nShow Unlocked Files\t" + url + "\n");
  EXPECT_EQ(run({"menu", item, "/a"}), ExitCode::done);
  EXPECT_EQ(out_, "") << "a mixed selection has no entries";
}

TEST_F(CommandLine, MenuTakesEveryName) {
  const Path here = fs::current_path();
  EXPECT_EQ(run({"menu", "[a,b]", "[]", "[c]", "a b", "--", "--help", "--", "\xFF"}), ExitCode::done);
  EXPECT_EQ(out_, "Lock with Tavrine\t" +
                      TavrineCommand::lock({here / "[a,b]", here / "[]", here / "[c]", here / "a b", here / "--help",
                                            here / "--", here / "\xFF"})
                          .url() +
                      "\n");
}

TEST_F(CommandLine, WrongUsageIsToldOnStandardError) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"menu"},
                                                    {"menu", "--nonsense", "/a"},
                                                    {"nonsense"},
                                                    {"menu", ""},
                                                    {"menu", "--"},
                                                    {"menu", "a", "--", ""}}) {
    EXPECT_EQ(run(arguments), ExitCode::wrongUsage);
    EXPECT_EQ(out_, "");
    EXPECT_NE(error_, "");
  }
}

TEST_F(CommandLine, HelpAndVersionAreAnswers) {
  EXPECT_EQ(run({"--version"}), ExitCode::done);
  EXPECT_TRUE(out_.starts_with("tavrine ")) << out_;
  EXPECT_EQ(run({"menu", "--help"}), ExitCode::done);
  EXPECT_NE(out_.find("PATH"), std::string::npos);
}

}  // namespace
}  // namespace tavrine
