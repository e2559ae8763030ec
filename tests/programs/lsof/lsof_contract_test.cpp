#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "kit/tools/open_files.h"
#include "platform/linux/file_descriptor.h"
#include "platform/system.h"
#include "tests/programs/lsof/holding_process.h"
#include "tests/programs/lsof/listing.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using Files = std::multiset<std::string>;

class LsofContractTest : public testing::Test {
 protected:
  LsofContractTest() {
    fs::create_directories(tree_ / "sub");
    fs::create_directory(scratch_ / "alias");
    std::ofstream(tree_ / "f") << "content";
  }

  /// A process that starts our lister with `output` and goes on. It holds more files of the tree than a small pipe has
  /// room for.
  pid_t startAnswerTooLongFor(int output) const {
    const pid_t starter = ::fork();
    if (starter != 0) return starter;
    for (int copies = 0; copies < 800; ++copies) (void)::open(tree_.c_str(), O_RDONLY | O_CLOEXEC);
    if (::fork() == 0) {
      (void)::dup2(output, STDOUT_FILENO);
      (void)::execl(toolPath("lsof").c_str(), "lsof", "-F", "pcfa", "+D", tree_.c_str(), nullptr);
    }
    for (;;) (void)::pause();
  }

  const TemporaryFolder scratch_;
  const Path tree_ = scratch_ / "tree";
};

TEST_F(LsofContractTest, NothingOpenIsAnAnswerAndAFailedSearchIsNone) {
  const std::vector<std::string> onTree = {"-F", "pcfa", "+D", tree_.string()};
  EXPECT_EQ(OpenFiles::holders(tree_, 10, toolPath("lsof")), OpenFiles::Holders::known({}));
  const Listing insideTheTree = listedBy("cd \"$4\"; exec \"$LSOF\" \"$@\"", onTree);
  EXPECT_EQ(insideTheTree.text, "") << "its own working folder";
  const std::string failing = "exec prlimit --nofile=5 \"$LSOF\" \"$@\" ";
  const Listing failure = listedBy(failing + "2>&1 >/dev/null", onTree);
  EXPECT_EQ(failure.status, 1);
  EXPECT_TRUE(failure.text.starts_with("lsof: ") && failure.text.ends_with(": Too many open files\n")) << failure.text;
  const Listing merged = listedBy(failing, onTree);
  EXPECT_EQ(merged.status, 1);
  EXPECT_EQ(merged.text, "") << "would be read as an answer";
  const Listing full = listedBy("exec \"$LSOF\" --help 2>&1 >/dev/full", {});
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.text, "lsof: cannot write to standard output\n");
}

TEST_F(LsofContractTest, AMissingPathIsAFailure) {
  const std::string missing = (tree_ / "missing").string();
  const Listing listing = listedBy("exec \"$LSOF\" \"$@\" 2>&1 >/dev/null", {"-F", "pcfa", "+D", missing});
  EXPECT_EQ(listing.status, 1);
  EXPECT_EQ(listing.text, "lsof: " + missing + ": No such file or directory\n");
}

TEST_F(LsofContractTest, RefusesOtherArgumentsInOneLine) {
  const std::vector<std::vector<std::string>> rows = {
      {},
      {"-F"},
      {"-F", "pcfa"},
      {"-F", "pcfa", "+D"},
      {"-F", "pcf", "/"},
      {"/"},
      {"-F", "pcfa", ""},
      {"-F", "pcfa", "/", "/"},
      {"-F", "pcfa", "-t", "/"},
      {"-F", "pcfa", "+d", "/"},
  };
  for (const auto& row : rows) {
    const Listing listing = listed(row);
    EXPECT_EQ(listing.status, 1) << testing::PrintToString(row);
    EXPECT_TRUE(listing.text.starts_with("lsof: ")) << listing.text;
    EXPECT_EQ(listing.text.find('\n'), listing.text.size() - 1) << listing.text;
  }
  EXPECT_TRUE(listed({"--help"}).text.starts_with("usage: lsof -F pcfa [+D] PATH\n"));
}

TEST_F(LsofContractTest, OpensNothingInTheTree) {
  const FileDescriptor watch(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  for (const Path& folder : {tree_, tree_ / "sub"}) {
    ASSERT_GE(::inotify_add_watch(watch.get(), folder.c_str(), IN_OPEN | IN_ACCESS), 0);
  }
  listedTree(tree_);
  std::array<char, 4096> events;
  EXPECT_EQ(::read(watch.get(), events.data(), events.size()), -1) << "the time would grow with the tree";
  EXPECT_FALSE(fs::is_empty(tree_));
  EXPECT_GT(::read(watch.get(), events.data(), events.size()), 0) << "the watch sees nothing";
}

TEST_F(LsofContractTest, ProcessesThatEndMeanwhileAreLeftOut) {
  const HoldingProcess restless([] {
    if (::fork() != 0) return;
    (void)::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) {
      const pid_t brief = ::fork();
      if (brief == 0) ::_exit(0);
      (void)::waitpid(brief, nullptr, 0);
    }
  });
  for (int round = 0; round < 30; ++round) EXPECT_FALSE(listedTree("/").processes.empty());
}

TEST_F(LsofContractTest, ProcessesOfOtherUsersAreSilentlyOutOfReach) {
  const bool isRoot = ::geteuid() == 0;
  const std::string asNobody = isRoot ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
  const int other = isRoot ? ::getpid() : 1;
  const Listing listing = listedBy(asNobody + "\"$LSOF\" -F pcfa +D / 2>&1 || echo status $?", {});
  if (listing.text.starts_with("setpriv:"))
    GTEST_SKIP() << "another user cannot start the program here: " << listing.text;
  EXPECT_EQ(listing.filesOf(other), Files());
  EXPECT_EQ(listing.text.find("lsof: "), std::string::npos) << listing.text;
  EXPECT_EQ(listing.text.find("status"), std::string::npos) << listing.text;
}

/// Where mounts can be made in a namespace of their own, which ends with the script.
class LsofMountTest : public LsofContractTest {
 protected:
  void SetUp() override {
    const Listing probe = listedBy(unshare_ + "mount -t tmpfs none \"$0\"' \"$1\"", {(scratch_ / "alias").string()});
    if (probe.status != 0) GTEST_SKIP() << "no mount namespace can be made here: " << probe.text;
  }

  Listing inside(const std::string& script) const {
    return listedBy(unshare_ + "cd \"$0\"; export LSOF=$1; " + script + "' \"$1\" \"$LSOF\"",
                    {scratch_.path().string()});
  }

  const std::string unshare_ =
      ::geteuid() == 0 ? "exec unshare --mount sh -c '" : "exec unshare --mount --map-root-user sh -c '";
};

TEST_F(LsofMountTest, AFileIsFoundThroughEveryMountOfItsFolder) {
  const std::string list = "\"$LSOF\" -F pcfa +D ";
  struct Row {
    std::string script;
    bool isHeld;
  };
  const Row rows[] = {
      {"mount --bind tree alias; exec 9>>alias/f; " + list + "tree", true},
      {"mount --bind tree alias; exec 9>>tree/f; " + list + "alias", true},
      {"mount --bind tree/sub alias; exec 9>alias/new; " + list + "tree", true},
      {"mount --bind tree/sub alias; exec 9>>tree/f; " + list + "alias", false},
      {"mount -t tmpfs none tree/sub; exec 9>tree/sub/new; " + list + "tree", true},
      {"mount --bind . alias; mount -t tmpfs none alias/tree; exec 9>alias/tree/f; " + list + "tree", false},
      {"mkdir \"a\\\\b c\"; mount --bind tree \"a\\\\b c\"; exec 9>>\"a\\\\b c/f\"; " + list + "tree", true},
  };
  for (const Row& row : rows) {
    const Listing listing = inside(row.script);
    EXPECT_EQ(listing.text.find("f9\na") != std::string::npos, row.isHeld) << row.script << "\n" << listing.text;
  }
}

TEST_F(LsofMountTest, AProcessWithMountsOfItsOwnIsSeen) {
  const HoldingProcess process([this] {
    const bool isAlone = ::unshare(::geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) == 0 &&
                         ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         ::mount(tree_.c_str(), (scratch_ / "alias").c_str(), nullptr, MS_BIND, nullptr) == 0;
    (void)::prctl(PR_SET_DUMPABLE, 1);  // a new user namespace takes the process out of its own user's reach
    const int fd = ::open((scratch_ / "alias/f").c_str(), O_WRONLY | O_CLOEXEC);
    if (!isAlone || fd < 0 || ::dup2(fd, 100) != 100 || ::close(fd) != 0) throw std::runtime_error("no mount");
  });
  EXPECT_EQ(listedTree(tree_).filesOf(process.pid()), Files{"100 w"});
  EXPECT_EQ(listedTree(tree_ / "sub").filesOf(process.pid()), Files());
}

TEST_F(LsofMountTest, ARootFolderInTheTreeCounts) {
  const HoldingProcess process([this] {
    if (::geteuid() != 0 && ::unshare(CLONE_NEWUSER) != 0) throw std::runtime_error("no user namespace");
    if (::chroot((tree_ / "sub").c_str()) != 0) throw std::runtime_error("no other root");
    (void)::prctl(PR_SET_DUMPABLE, 1);
  });
  EXPECT_EQ(listedTree(tree_).filesOf(process.pid()), Files{"rtd  "});
}

TEST_F(LsofContractTest, DiesWithTheProcessThatStartedIt) {
  std::array<int, 2> answer{};
  ASSERT_EQ(::pipe2(answer.data(), O_CLOEXEC), 0);
  ASSERT_GT(::fcntl(answer[1], F_SETPIPE_SZ, 4096), 0);
  const FileDescriptor reader(answer[0]);
  const pid_t starter = startAnswerTooLongFor(answer[1]);
  (void)::close(answer[1]);
  pollfd state{reader.get(), POLLIN, 0};
  EXPECT_EQ(::poll(&state, 1, 10'000), 1) << "it has not begun to answer";
  (void)::kill(starter, SIGKILL);
  (void)::waitpid(starter, nullptr, 0);
  state.events = 0;
  EXPECT_EQ(::poll(&state, 1, 10'000), 1) << "it still waits to go on writing";
}

}  // namespace
}  // namespace tavrine
