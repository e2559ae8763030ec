#include <poll.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/prctl.h>

#include <array>
#include <optional>
#include <thread>

#include "kit/tools/open_files.h"
#include "platform/linux/file_descriptor.h"
#include "tests/programs/lsof/lsof_fixture.h"

namespace tavrine {
namespace {

using LsofContractTest = LsofFixture;

TEST_F(LsofContractTest, NothingOpenIsAnAnswerAndAFailedSearchIsNone) {
  const std::string failing = "exec prlimit --nofile=5 \"$LSOF\" -F pcfa +D tree 2>&1 ";
  const std::pair<std::string, std::pair<int, std::string>> rows[] = {
      {"cd tree; exec \"$LSOF\" -F pcfa +D .", {0, ""}},  // its own working folder
      {failing + ">/dev/null", {1, "lsof: cannot read stat of /proc: Too many open files\n"}},
      {failing, {1, ""}},  // a message would be read as an answer
      {"exec \"$LSOF\" --help 2>&1 >/dev/full", {1, "lsof: cannot write to standard output\n"}},
      {"exec \"$LSOF\" -F pcfa gone 2>&1 >/dev/null", {1, "lsof: gone: No such file or directory\n"}},
  };
  for (const auto& [script, expected] : rows) {
    const ProcessResult result = shell(script);
    EXPECT_EQ(std::pair(result.status, result.output), expected) << script;
  }
  EXPECT_EQ(OpenFiles::holders(tree_, 10, toolPath("lsof")), OpenFiles::Holders::known({}));
}

TEST_F(LsofContractTest, RefusesOtherArgumentsInOneLine) {
  for (const char* arguments : {"", "-F", "-F pcfa", "-F pcf /", "/", "-F pcfa \"\"", "-F pcfa / /", "-F pcfa -t /"}) {
    const auto [status, output, timedOut] = shell("exec \"$LSOF\" " + std::string(arguments));
    EXPECT_EQ(status, 1) << arguments;
    EXPECT_TRUE(output.starts_with("lsof: ") && output.find('\n') == output.size() - 1) << output;
  }
  EXPECT_TRUE(listed({"--help"}).starts_with("usage: lsof -F pcfa [+D] PATH\n"));
}

TEST_F(LsofContractTest, OpensNothingInTheTree) {
  const FileDescriptor watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  ASSERT_GE(::inotify_add_watch(watch.get(), tree_.c_str(), IN_OPEN | IN_ACCESS), 0);
  (void)listedTree(tree_);
  std::array<char, 4096> events;
  EXPECT_EQ(::read(watch.get(), events.data(), events.size()), -1) << "the time would grow with the tree";
  EXPECT_FALSE(std::filesystem::is_empty(tree_));
  EXPECT_GT(::read(watch.get(), events.data(), events.size()), 0) << "the watch sees nothing";
}

TEST_F(LsofContractTest, ProcessesThatEndMeanwhileAreLeftOut) {
  const HoldingProcess restless([] {
    std::thread([] {
      for (;;) {
        const pid_t brief = ::fork();
        if (brief == 0) ::_exit(0);
        (void)::waitpid(brief, nullptr, 0);
      }
    }).detach();
  });
  for (int round = 0; round < 30; ++round) EXPECT_NE(listedTree("/"), "");
}

TEST_F(LsofContractTest, ProcessesOfOtherUsersAreSilentlyOutOfReach) {
  const bool isRoot = ::geteuid() == 0;
  const std::string asNobody = isRoot ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
  const auto [status, output, timedOut] = shell(asNobody + "\"$LSOF\" -F pcfa +D /");
  if (output.starts_with("setpriv:")) GTEST_SKIP() << "another user cannot start the program here: " << output;
  EXPECT_EQ(status, 0);
  EXPECT_EQ(filesOf(isRoot ? ::getpid() : 1, output), Texts());
  EXPECT_EQ(output.find("lsof: "), std::string::npos) << output;
}

/// Where mounts can be made in a namespace of their own, which ends with the script.
class LsofMountTest : public LsofFixture {
 protected:
  void SetUp() override {
    const ProcessResult probe = inside("mount -t tmpfs none alias");
    if (probe.status != 0) GTEST_SKIP() << "no mount namespace can be made here: " << probe.output;
  }

  ProcessResult inside(const std::string& script) const {
    const std::string mapped = ::geteuid() == 0 ? "" : "--map-root-user ";
    return shell("exec unshare --mount " + mapped + "sh -c '" + script + "'");
  }
};

TEST_F(LsofMountTest, AFileIsFoundThroughEveryMountOfItsFolder) {
  const std::pair<const char*, const char*> held[] = {
      {"mount --bind tree alias; exec 9>>alias/f", "tree"},
      {"mount --bind tree alias; exec 9>>tree/f", "alias"},
      {"mount --bind tree/sub alias; exec 9>alias/new", "tree"},
      {"mount -t tmpfs none tree/sub; exec 9>tree/sub/new", "tree"},
      {"mkdir \"a\\\\b c\"; mount --bind tree \"a\\\\b c\"; exec 9>>\"a\\\\b c/f\"", "tree"},
  };
  const std::pair<const char*, const char*> notHeld[] = {
      {"mount --bind tree/sub alias; exec 9>>tree/f", "alias"},
      {"mount --bind . alias; mount -t tmpfs none alias/tree; exec 9>alias/tree/f", "tree"},
  };
  const auto isListed = [this](const auto& row) {
    return inside(std::string(row.first) + "; \"$LSOF\" -F pcfa +D " + row.second).output.find("f9\na") !=
           std::string::npos;
  };
  for (const auto& row : held) EXPECT_TRUE(isListed(row)) << row.first;
  for (const auto& row : notHeld) EXPECT_FALSE(isListed(row)) << row.first;
}

TEST_F(LsofMountTest, AProcessWithMountsOrARootOfItsOwnIsSeen) {
  const int unshared = ::geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
  const HoldingProcess mounted([&] {
    require(::unshare(unshared) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0);
    require(::mount(tree_.c_str(), (scratch_ / "alias").c_str(), nullptr, MS_BIND, nullptr) == 0);
    (void)::prctl(PR_SET_DUMPABLE, 1);  // a new user namespace takes the process out of its own user's reach
    openAs(100, scratch_ / "alias/f", O_WRONLY);
  });
  const HoldingProcess rooted([&] {
    require(::unshare(unshared & CLONE_NEWUSER) == 0 && ::chroot((tree_ / "sub").c_str()) == 0);
    (void)::prctl(PR_SET_DUMPABLE, 1);
  });
  EXPECT_EQ(filesOf(mounted.pid(), listedTree(tree_)), Texts{"100 w"});
  EXPECT_EQ(filesOf(mounted.pid(), listedTree(tree_ / "sub")), Texts());
  EXPECT_EQ(filesOf(rooted.pid(), listedTree(tree_)), Texts{"rtd  "});
}

TEST_F(LsofContractTest, DiesWithTheProcessThatStartedIt) {
  std::array<int, 2> answer{};
  ASSERT_EQ(::pipe2(answer.data(), O_CLOEXEC), 0);
  ASSERT_GT(::fcntl(answer[1], F_SETPIPE_SZ, 4096), 0);
  const FileDescriptor reader(answer[0]);
  std::optional<FileDescriptor> writer(answer[1]);
  std::optional<HoldingProcess> starter;
  starter.emplace([&] {
    for (int copies = 0; copies < 800; ++copies) (void)::open(tree_.c_str(), O_RDONLY | O_CLOEXEC);
    if (::fork() != 0) return writer.reset();
    (void)::dup2(answer[1], STDOUT_FILENO);
    (void)::execl(toolPath("lsof").c_str(), "lsof", "-F", "pcfa", "+D", tree_.c_str(), nullptr);
  });
  writer.reset();
  pollfd state{reader.get(), POLLIN, 0};
  EXPECT_EQ(::poll(&state, 1, 10'000), 1) << "it has not begun to answer";
  starter.reset();
  state.events = 0;
  EXPECT_EQ(::poll(&state, 1, 10'000), 1) << "it still waits to go on writing";
}

}  // namespace
}  // namespace tavrine
