#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <stdexcept>

#include "tests/programs/ditto/ditto_fixture.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// What happens in the middle of a copy.
class DittoInterruption : public DittoFixture {
 protected:
  const Path large = "sub/large";

  /// A copy stopped while it writes the large file; a machine that was too fast gets another try.
  std::unique_ptr<Program> stoppedInTheMiddle() const {
    for (int attempt = 0; attempt < 20; ++attempt) {
      run({"rm", "-rf", copy});
      auto program = copyingLargeFile(large);
      program->signal(SIGSTOP);
      if (isUnfinished(large)) return program;
    }
    throw std::runtime_error("no copy could be caught before its end");
  }

  static Outcome goOn(Program& program) {
    program.signal(SIGCONT);
    return program.wait();
  }
};

TEST_F(DittoInterruption, NamesWhatChangesWhileItIsCopied) {
  const Path file = source / large;
  const struct {
    const char* name;
    Path named;
    std::function<void()> change;
  } table[] = {
      {"grows", file, [&] { std::ofstream(file, std::ios::app) << "more"; }},
      {"shrinks", file, [&] { fs::resize_file(file, 100); }},
      {"is overwritten", file, [&] { std::fstream(file, std::ios::in | std::ios::out) << "other"; }},
      {"gains a neighbour", file.parent_path(), [&] { write(source / "sub/new", "text"); }},
  };
  for (const auto& row : table) {
    const auto program = stoppedInTheMiddle();
    row.change();
    const Outcome outcome = goOn(*program);
    EXPECT_NE(outcome.output.find("ditto: " + row.named.string() + ": changed while it was copied\n"),
              std::string::npos)
        << row.name << outcome.output;
    EXPECT_EQ(outcome.status, 1) << row.name;
    fs::remove(source / "sub/new");
  }
}

TEST_F(DittoInterruption, AFolderSwappedForALinkLeadsNowhereElse) {
  const auto program = stoppedInTheMiddle();
  fs::create_directory(folder / "elsewhere");
  fs::rename(copy / "sub", folder / "moved");
  fs::create_directory_symlink("../elsewhere", copy / "sub");
  const Outcome outcome = goOn(*program);
  EXPECT_TRUE(fs::is_empty(folder / "elsewhere"));
  EXPECT_EQ(modeOf(folder / "elsewhere"), modeOf(source));
  EXPECT_EQ(differences(source / "sub", folder / "moved"), "") << outcome.output;
}

TEST_F(DittoInterruption, EndsAtOnceWhenToldTo) {
  auto shortest = std::chrono::nanoseconds::max();
  // A busy machine may keep one attempt waiting, and a fast one may be done before it is told.
  for (int attempt = 0; attempt < 20 && shortest >= std::chrono::milliseconds(100); ++attempt) {
    run({"rm", "-rf", copy});
    const auto program = copyingLargeFile(large);
    const auto start = std::chrono::steady_clock::now();
    program->signal(SIGTERM);
    const Outcome outcome = program->wait();
    if (!isUnfinished(large)) continue;
    EXPECT_EQ(outcome.status, -SIGTERM);
    shortest = std::min<std::chrono::nanoseconds>(shortest, std::chrono::steady_clock::now() - start);
  }
  EXPECT_LT(shortest, std::chrono::milliseconds(100));
}

TEST_F(DittoInterruption, EndsWithTheProcessThatStartedIt) {
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const pid_t starter = ::fork();
  if (starter == 0) {
    const auto program = stoppedInTheMiddle();
    const pid_t pid = program->pid();
    if (::write(ends[1], &pid, sizeof pid) != sizeof pid) ::_exit(1);
    for (;;) ::pause();
  }
  pid_t copier = 0;
  ASSERT_EQ(::read(ends[0], &copier, sizeof copier), ssize_t{sizeof copier});
  ::kill(starter, SIGKILL);
  ::waitpid(starter, nullptr, 0);  // from here on the copier is our own child
  ::kill(copier, SIGCONT);         // and would work on if nothing had ended it
  int status = 0;
  EXPECT_EQ(::waitpid(copier, &status, 0), copier);
  EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : 0, SIGKILL);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(DittoInterruption, NeedsNoMoreMemoryForALargerFolder) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer's own memory grows";
#endif
  const auto peakWith = [this](int files) {
    for (int file = 0; file < files; ++file) write(source / (std::to_string(file) + std::string(240, 'n')), "");
    const Outcome outcome = ditto();
    EXPECT_EQ(outcome.output, "");
    run({"rm", "-rf", copy});
    return outcome.peakKiB;
  };
  const long few = peakWith(300);
  EXPECT_LT(peakWith(6000), few + 700) << "the names alone are 1,400 KiB";
}

}  // namespace
}  // namespace tavrine
