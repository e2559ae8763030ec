#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include "kit/tools/process_runner.h"
#include "platform/system.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

/// A cache folder with "thumbnails" in it, and a folder "other" beside it whose content has to stay.
class QlmanageTest : public testing::Test {
 protected:
  QlmanageTest() {
    ::setenv("XDG_CACHE_HOME", (home_ / ".cache").c_str(), 1);
    ::setenv("HOME", home_.path().c_str(), 1);
    write(home_ / ".cache/other program/file");
    write(home_ / "other/file");
  }
  ~QlmanageTest() override {
    EXPECT_TRUE(fs::exists(home_ / ".cache/other program/file"));
    EXPECT_TRUE(fs::exists(home_ / "other/file"));
  }

  static void write(const Path& file) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "content";
  }

  static ProcessResult run(const std::vector<std::string>& arguments = {"-r", "cache"}) {
    return ProcessRunner::run(toolPath("qlmanage"), arguments);
  }

  /// Started by a script, in which "$0" is the program and "$1" the home folder.
  ProcessResult runBy(const std::string& script) const {
    return ProcessRunner::run("/bin/sh", {"-c", script, toolPath("qlmanage").string(), home_.path().string()});
  }

  std::set<std::string> left() const {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(cache_))
      names.insert(entry.path().lexically_relative(cache_));
    return names;
  }

  const TemporaryFolder home_;
  const Path cache_ = home_ / ".cache/thumbnails";
};

TEST_F(QlmanageTest, RemovesEveryFileAndNoFolder) {
  for (const char* name : {"a.png", "large/b.png", "fail/app 1/c\nd.png", "large/\xFF", "large/.hidden"})
    write(cache_ / name);
  fs::create_symlink(home_ / "other/file", cache_ / "link");
  fs::create_directory_symlink(home_ / "other", cache_ / "large/link");
  ASSERT_EQ(::mkfifo((cache_ / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(run(), (ProcessResult{0, "", false}));
  EXPECT_EQ(left(), (std::set<std::string>{"large", "fail", "fail/app 1"}));
}

TEST_F(QlmanageTest, FindsTheCacheAsTheDesktopDoes) {
  ::setenv("XDG_CACHE_HOME", "relative", 1);
  write(cache_ / "a.png");
  EXPECT_EQ(run().status, 0);
  EXPECT_EQ(left(), std::set<std::string>());
  fs::remove(cache_);
  EXPECT_EQ(run(), (ProcessResult{0, "", false})) << "no cache, nothing to do";
  EXPECT_FALSE(fs::exists(cache_));
}

TEST_F(QlmanageTest, ACacheThatIsNoFolderIsRefused) {
  fs::create_directory_symlink(home_ / "other", cache_);
  EXPECT_EQ(run(), (ProcessResult{1, "qlmanage: " + cache_.string() + ": is a link, which is not followed\n", false}));
  fs::remove(cache_);
  write(cache_);
  EXPECT_EQ(run(), (ProcessResult{1, "qlmanage: " + cache_.string() + ": Not a directory\n", false}));
  EXPECT_TRUE(fs::is_regular_file(cache_));
}

TEST_F(QlmanageTest, GoesOnAfterAFileThatStaysAndNamesIt) {
  write(cache_ / "free/a.png");
  write(cache_ / "kept/b\nc.png");
  fs::permissions(cache_ / "kept", fs::perms(0555));
  const std::string bound =
      ::geteuid() == 0 ? "setpriv --bounding-set=-dac_override " : "";  // as modes bind any other user
  const ProcessResult result = runBy("exec " + bound + "\"$0\" -r cache");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "qlmanage: " + (cache_ / "kept/b?c.png").string() + ": Permission denied\n");
  EXPECT_EQ(left(), (std::set<std::string>{"free", "kept", "kept/b\nc.png"}));
  fs::permissions(cache_ / "kept", fs::perms::owner_all);
}

TEST_F(QlmanageTest, EntersNoMount) {
  write(cache_ / "a.png");
  fs::create_directory(cache_ / "mounted");
  const std::string unshare = ::geteuid() == 0 ? "exec unshare --mount " : "exec unshare --mount --map-root-user ";
  const auto result = runBy(unshare + R"(sh -c 'mount --bind "$1/other" "$1/.cache/thumbnails/mounted" || exit 99
                                         exec "$0" -r cache' "$0" "$1")");
  if (result.output.starts_with("unshare:") || result.status == 99) GTEST_SKIP() << "no mounts: " << result.output;
  EXPECT_EQ(result, (ProcessResult{0, "", false}));
  EXPECT_EQ(left(), std::set<std::string>{"mounted"});
}

TEST_F(QlmanageTest, RefusesOtherArgumentsInOneLine) {
  write(cache_ / "a.png");
  const std::vector<std::vector<std::string>> rows = {{}, {"-r"}, {"cache"}, {"-r", "cache", "x"}, {"-p", "file"}};
  for (const auto& row : rows) {
    const ProcessResult result = run(row);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(row);
    EXPECT_TRUE(result.output.starts_with("qlmanage: ")) << result.output;
    EXPECT_EQ(result.output.find('\n'), result.output.size() - 1) << result.output;
  }
  EXPECT_TRUE(run({"--help"}).output.starts_with("usage: qlmanage -r cache\n"));
  EXPECT_EQ(left(), std::set<std::string>{"a.png"});
}

}  // namespace
}  // namespace tavrine
