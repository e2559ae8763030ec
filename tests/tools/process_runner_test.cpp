#include "kit/tools/process_runner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <thread>

#include "kit/errors/tavrine_error.h"
#include "platform/linux/file_descriptor.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

ProcessResult shell(const std::string& script, const ProcessOptions& options = {}) {
  return ProcessRunner::run("/bin/sh", {"-c", script}, options);
}

std::shared_ptr<CancelToken> cancelledToken() {
  auto token = std::make_shared<CancelToken>();
  token->cancel();
  return token;
}

/// The descriptors and children of this process, which no run may add to.
std::string possessions() {
  std::string children;
  std::getline(std::ifstream("/proc/self/task/" + std::to_string(::getpid()) + "/children"), children);
  const fs::directory_iterator descriptors("/proc/self/fd");
  return std::to_string(std::distance(descriptors, fs::directory_iterator())) + " descriptors, children: " + children;
}

class ProcessRunnerTest : public testing::Test {
 protected:
  /// The possessions are counted after a first run, which may have opened something for good.
  ProcessRunnerTest() : before_((shell("true"), possessions())) {}
  ~ProcessRunnerTest() override { EXPECT_EQ(possessions(), before_); }

  const TemporaryFolder folder_;

 private:
  const std::string before_;
};

TEST_F(ProcessRunnerTest, TellsTheStatusAndBothStreamsInTheOrderTheyWereWritten) {
  const std::string script = "printf 'a\\n'; printf b >&2; printf '\\377c '; ";
  EXPECT_EQ(shell(script + "exit 3"), (ProcessResult{3, "a\nb\uFFFDc ", false}));
  EXPECT_EQ(shell(script + "kill -9 $$"), (ProcessResult{9, "a\nb\uFFFDc ", false}));
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(shell("exit 4").status, 4) << "also in a process that was started with SIGCHLD ignored";
  (void)std::signal(SIGCHLD, before);
}

TEST_F(ProcessRunnerTest, ArgumentsArriveAsTheyAre) {
  const ProcessResult result = ProcessRunner::run("/usr/bin/printf", {"%s|", "two words", "", "$HOME", "'\n", "\xFF"});
  EXPECT_EQ(result.output, "two words||$HOME|'\n|\uFFFD|");
}

TEST_F(ProcessRunnerTest, InputAndOutputOfAnySizeGoThroughAtOnce) {
  const std::string large(3'000'000, 'x');
  EXPECT_EQ(ProcessRunner::run("/bin/cat", {}, {.input = large}).output, large);
  EXPECT_EQ(ProcessRunner::run("/bin/cat", {}).output, "") << "without input, the child's ends at once";
  EXPECT_EQ(shell("exit 5", {.input = large}).status, 5) << "a child that reads nothing harms nobody";
}

TEST_F(ProcessRunnerTest, AChildWhoseTimeIsOverIsAskedToEnd) {
  EXPECT_EQ(shell("exec sleep 1000", {.timeoutSeconds = 0.05}), (ProcessResult{SIGTERM, "", true}));
  for (const double limit : {1000.0, std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(shell("echo done", {.timeoutSeconds = limit}), (ProcessResult{0, "done\n", false})) << limit;
  }
}

TEST_F(ProcessRunnerTest, CancellingEndsTheChildAndWaitsForIt) {
  const auto token = std::make_shared<CancelToken>();
  std::jthread user([&] {
    while (!fs::exists(folder_ / "ready")) std::this_thread::yield();
    token->cancel();
  });
  const std::string script = "cd " + folder_.path().string() +
                             "; trap 'sleep 0.1; : >ended; exit 0' TERM; : >ready; while :; do sleep 0.01; done";
  try {
    (void)shell(script, {.cancel = token});
    ADD_FAILURE() << "not cancelled";
  } catch (const TavrineError& error) {
    EXPECT_EQ(error, TavrineError::cancelled());
  }
  EXPECT_TRUE(fs::exists(folder_ / "ended")) << "the child had its time to clean up";
}

TEST_F(ProcessRunnerTest, CancellingWinsOverAnyResult) {
  for (const char* script : {"exec sleep 1000", "exit 0"}) {
    EXPECT_THROW(shell(script, {.timeoutSeconds = 0, .cancel = cancelledToken()}), TavrineError) << script;
  }
  EXPECT_THROW(cancelledToken()->check(), TavrineError);
  EXPECT_NO_THROW(CancelToken().check());
}

TEST_F(ProcessRunnerTest, AFailedLaunchIsTheSystemsError) {
  std::ofstream(folder_ / "plain") << "#!/bin/sh\n";
  for (const auto& [name, code] : {std::pair("missing", ENOENT), std::pair("plain", EACCES)}) {
    try {
      (void)ProcessRunner::run(folder_ / name, {}, {.input = "x", .cancel = cancelledToken()});
      ADD_FAILURE() << name;
    } catch (const fs::filesystem_error& error) {
      EXPECT_EQ(error.code().value(), code) << name;
      EXPECT_EQ(error.path1(), folder_ / name);
    }
  }
}

TEST_F(ProcessRunnerTest, TheChildHasItsOwnGroupThreeStreamsAndNoSignalState) {
  const FileDescriptor inherited(::fcntl(STDERR_FILENO, F_DUPFD, 77));
  ASSERT_EQ(inherited.get(), 77) << "left open on exec";
  sigset_t blocked;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  EXPECT_EQ(shell("[ ! -e /proc/self/fd/77 ] || echo descriptor").output, "");
  EXPECT_EQ(ProcessRunner::run("/bin/grep", {"-E", "Sig(Blk|Ign)", "/proc/self/status"}).output,
            "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
  ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
  EXPECT_EQ(shell("read -r pid name state parent group rest </proc/self/stat; [ $pid = $group ] && echo own").output,
            "own\n");
}

}  // namespace
}  // namespace tavrine
