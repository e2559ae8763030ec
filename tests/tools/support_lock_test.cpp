#include "kit/tools/support_lock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

mode_t modeOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

/// A fork of this process: it keeps a copy of every descriptor until it is killed.
class ForkedProcess final {
 public:
  ForkedProcess() : pid_(::fork()) {
    while (pid_ == 0) ::pause();
  }
  ForkedProcess(const ForkedProcess&) = delete;
  ForkedProcess& operator=(const ForkedProcess&) = delete;
  ~ForkedProcess() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }

 private:
  const pid_t pid_;
};

TEST(SupportLock, HasOneHolderAtATime) {
  const TemporaryFolder folder;
  auto first = SupportLock::acquire(folder.path());
  ASSERT_TRUE(first);
  EXPECT_FALSE(SupportLock::acquire(folder.path())) << "not even in the same process";
  const ForkedProcess copy;
  first.reset();
  EXPECT_TRUE(SupportLock::acquire(folder.path())) << "a copy of the descriptor does not keep it";
  EXPECT_TRUE(fs::exists(folder / ".tavrine.lock"));
}

TEST(SupportLock, CreatesWhatIsMissingForTheOwnerAlone) {
  const TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  ASSERT_TRUE(SupportLock::acquire(folder / "new/support/"));
  EXPECT_EQ(modeOf(folder / "new"), 0700u);
  EXPECT_EQ(modeOf(folder / "new/support"), 0700u);
  EXPECT_EQ(modeOf(folder / "new/support/.tavrine.lock"), 0600u);
  EXPECT_EQ(modeOf(folder.path()), 0755u) << "what exists stays as it is";
}

TEST(SupportLock, ThereIsNoneWhereTheFileCannotBeOpened) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "a/.tavrine.lock");
  EXPECT_FALSE(SupportLock::acquire(folder / "a"));
  EXPECT_FALSE(SupportLock::acquire("/proc/no such folder"));
}

}  // namespace
}  // namespace tavrine
