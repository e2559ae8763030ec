#include "kit/tools/process_runner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>
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
struct Possessions {
  std::ptrdiff_t descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  std::string children = childrenOfThisProcess();
  bool operator==(const Possessions&) const = default;

  static std::string childrenOfThisProcess() {
    std::string text;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(::getpid()) + "/children"), text);
    return text;
  }
};

class ProcessRunnerTest : public testing::Test {
 protected:
  /// The possessions are counted after a first run, which may have opened something for good.
  ProcessRunnerTest() : before_((shell("true"), Possessions())) {}
  ~ProcessRunnerTest() override { EXPECT_EQ(Possessions(), before_) << "a descriptor or a child was left"; }

  const TemporaryFolder folder_;

 private:
  const Possessions before_;
};

TEST_F(ProcessRunnerTest, MergesBothStreamsInTheOrderTheyWereWritten) {
  EXPECT_EQ(shell("printf 'a\\n'; printf b >&2; printf '\\377c '"), (ProcessResult{0, "a\nb\uFFFDc ", false}));
}

TEST_F(ProcessRunnerTest, TheStatusIsTheExitCodeOrTheSignal) {
  EXPECT_EQ(shell("exit 3").status, 3);
  EXPECT_EQ(shell("echo partial; kill -9 $$"), (ProcessResult{9, "partial\n", false}));
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(shell("exit 4").status, 4) << "also in a process that was started with SIGCHLD ignored";
  (void)std::signal(SIGCHLD, before);
}

TEST_F(ProcessRunnerTest, ArgumentsArriveAsTheyAre) {
  const ProcessResult result =
      ProcessRunner::run("/usr/bin/printf", {"%s|", "two words", "", "$HOME", "*", "'\"\\", "line\nbreak", "\xFF"});
  EXPECT_EQ(result.output, "two words||$HOME|*|'\"\\|line\nbreak|\uFFFD|");
}

TEST_F(ProcessRunnerTest, InputAndOutputOfAnySizeGoThroughAtOnce) {
  const std::string large(3'000'000, 'x');
  EXPECT_EQ(ProcessRunner::run("/bin/cat", {}, {.input = large}).output, large);
  EXPECT_EQ(ProcessRunner::run("/bin/cat", {}).output, "") << "without input, the child's ends at once";
  EXPECT_EQ(shell("exit 5", {.input = large}).status, 5) << "a child that reads nothing harms nobody";
}

TEST_F(ProcessRunnerTest, AChildWhoseTimeIsOverIsAskedToEnd) {
  EXPECT_EQ(shell("exec sleep 1000", {.timeoutSeconds = 0}), (ProcessResult{SIGTERM, "", true}));
  EXPECT_EQ(shell("exec sleep 1000", {.timeoutSeconds = 0.05}), (ProcessResult{SIGTERM, "", true}));
  for (const double limit : {1000.0, 1e300, std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(shell("echo done", {.timeoutSeconds = limit}), (ProcessResult{0, "done\n", false})) << limit;
  }
}

TEST_F(ProcessRunnerTest, CancellingEndsTheChildAndWaitsForIt) {
  const auto token = std::make_shared<CancelToken>();
  const fs::path ready = folder_ / "ready";
  const fs::path ended = folder_ / "ended";
  std::jthread user([&] {
    while (!fs::exists(ready)) std::this_thread::yield();
    token->cancel();
  });
  const std::string script = "trap 'sleep 0.1; : >" + ended.string() + "; exit 0' TERM; : >" + ready.string() +
                             "; while :; do sleep 0.01; done";
  try {
    (void)shell(script, {.cancel = token});
    ADD_FAILURE() << "not cancelled";
  } catch (const TavrineError& error) {
    EXPECT_EQ(error, TavrineError::cancelled());
  }
  EXPECT_TRUE(fs::exists(ended)) << "the child had its time to clean up";
}

TEST_F(ProcessRunnerTest, CancellingWinsOverAnyResult) {
  const ProcessOptions options[] = {{.cancel = cancelledToken()}, {.timeoutSeconds = 0, .cancel = cancelledToken()}};
  for (const ProcessOptions& cancelled : options) {
    EXPECT_THROW(shell("exec sleep 1000", cancelled), TavrineError);
    EXPECT_THROW(shell("exit 0", cancelled), TavrineError);
  }
  EXPECT_THROW(cancelledToken()->check(), TavrineError);
  EXPECT_NO_THROW(CancelToken().check());
}

TEST_F(ProcessRunnerTest, AFailedLaunchIsTheSystemsError) {
  const fs::path plain = folder_ / "plain";
  std::ofstream(plain) << "#!/bin/sh\n";
  const std::pair<fs::path, std::errc> rows[] = {{folder_ / "missing", std::errc::no_such_file_or_directory},
                                                 {plain, std::errc::permission_denied},
                                                 {folder_.path(), std::errc::permission_denied}};
  for (const auto& [executable, code] : rows) {
    try {
      (void)ProcessRunner::run(executable, {}, {.input = "x", .cancel = cancelledToken()});
      ADD_FAILURE() << executable;
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), code) << executable;
      EXPECT_NE(std::string(error.what()).find(executable.string()), std::string::npos) << error.what();
    }
  }
}

TEST_F(ProcessRunnerTest, TheChildInheritsThreeStreamsAndNoSignalState) {
  const FileDescriptor inherited(::fcntl(STDERR_FILENO, F_DUPFD, 77));
  ASSERT_EQ(inherited.get(), 77) << "left open on exec";
  sigset_t blocked;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGUSR1);
  ::sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  EXPECT_EQ(shell("[ ! -e /proc/self/fd/77 ] || echo descriptor").output, "");
  EXPECT_EQ(ProcessRunner::run("/bin/grep", {"-E", "Sig(Blk|Ign)", "/proc/self/status"}).output,
            "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
  EXPECT_EQ(shell("exec sleep 1000", {.timeoutSeconds = 0}).status, SIGTERM);
  ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
}

TEST_F(ProcessRunnerTest, TheChildHasAProcessGroupOfItsOwn) {
  EXPECT_EQ(shell("read -r pid name state parent group rest </proc/self/stat; [ $pid = $group ] && echo own").output,
            "own\n");
}

}  // namespace
}  // namespace tavrine
