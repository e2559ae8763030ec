#include <gtest/gtest.h>
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

using Names = std::set<std::string>;

/// A home folder with a file "other/file" and a cache, which holds one file, a link to "other" and that of another
/// program.
class QlmanageTest : public testing::Test {
 protected:
  QlmanageTest() {
    ::setenv("XDG_CACHE_HOME", "relative", 1);
    ::setenv("HOME", home_.path().c_str(), 1);
    for (const char* name : {"other/file", ".cache/other program/file", ".cache/thumbnails/large/c\nd\xFF.png"})
      write(name);
    fs::create_directory_symlink(home_ / "other", cache_ / "link");
  }
  ~QlmanageTest() override {
    EXPECT_TRUE(fs::exists(home_ / ".cache/other program/file"));
    EXPECT_TRUE(fs::exists(home_ / "other/file"));
  }

  void write(const Path& name) const {
    fs::create_directories((home_ / name).parent_path());
    std::ofstream(home_ / name) << "content";
  }

  /// The program run by a script in the home folder, in which it is "$0".
  ProcessResult run(const std::string& script = "exec \"$0\" -r cache") const {
    return ProcessRunner::run("/bin/sh", {"-c", "cd; " + script, toolPath("qlmanage").string()});
  }

  Names left() const {
    Names names;
    for (const auto& entry : fs::recursive_directory_iterator(cache_))
      names.insert(entry.path().lexically_relative(cache_));
    return names;
  }

  const TemporaryFolder home_;
  const Path cache_ = home_ / ".cache/thumbnails";
};

TEST_F(QlmanageTest, RemovesEveryFileAndNoFolder) {
  write(".cache/thumbnails/.hidden");
  EXPECT_EQ(run(), (ProcessResult{0, "", false}));
  EXPECT_EQ(left(), Names{"large"});
  fs::remove_all(cache_);
  EXPECT_EQ(run(), (ProcessResult{0, "", false})) << "no cache, nothing to do";
  write("elsewhere/thumbnails/a.png");
  ::setenv("XDG_CACHE_HOME", (home_ / "elsewhere").c_str(), 1);
  EXPECT_EQ(run(), (ProcessResult{0, "", false}));
  EXPECT_TRUE(fs::is_empty(home_ / "elsewhere/thumbnails"));
}

TEST_F(QlmanageTest, ACacheThatIsNoFolderIsRefused) {
  fs::remove_all(cache_);
  fs::create_directory_symlink(home_ / "other", cache_);
  EXPECT_EQ(run(), (ProcessResult{1, "qlmanage: " + cache_.string() + ": is a link, which is not followed\n", false}));
  fs::remove(cache_);
  write(".cache/thumbnails");
  EXPECT_EQ(run(), (ProcessResult{1, "qlmanage: " + cache_.string() + ": Not a directory\n", false}));
}

TEST_F(QlmanageTest, GoesOnAfterAFileThatStaysAndNamesIt) {
  write(".cache/thumbnails/kept/b\nc.png");
  fs::permissions(cache_ / "kept", fs::perms(0555));
  const std::string bound =
      ::geteuid() == 0 ? "setpriv --bounding-set=-dac_override " : "";  // as modes bind any other user
  const std::string complaint = "qlmanage: " + (cache_ / "kept/b?c.png").string() + ": Permission denied\n";
  EXPECT_EQ(run("exec " + bound + "\"$0\" -r cache"), (ProcessResult{1, complaint, false}));
  EXPECT_EQ(left(), (Names{"large", "kept", "kept/b\nc.png"}));
  fs::permissions(cache_ / "kept", fs::perms::owner_all);
}

TEST_F(QlmanageTest, EntersNoMount) {
  fs::create_directory(cache_ / "mounted");
  const std::string unshare = ::geteuid() == 0 ? "exec unshare --mount " : "exec unshare --mount --map-root-user ";
  const auto result = run(unshare + R"(sh -c 'mount --bind other .cache/thumbnails/mounted || exit 99
                                       exec "$0" -r cache' "$0")");
  if (result.output.starts_with("unshare:") || result.status == 99) GTEST_SKIP() << "no mounts: " << result.output;
  EXPECT_EQ(result, (ProcessResult{0, "", false}));
}

TEST_F(QlmanageTest, RefusesOtherArgumentsInOneLine) {
  const Names before = left();
  const std::string refusal = "qlmanage: the only arguments are -r cache; qlmanage --help tells more\n";
  for (const char* arguments : {"", "-r", "cache", "-r cache x", "-p file"}) {
    EXPECT_EQ(run("exec \"$0\" " + std::string(arguments)), (ProcessResult{2, refusal, false})) << arguments;
  }
  EXPECT_TRUE(run("exec \"$0\" --help").output.starts_with("usage: qlmanage -r cache\n"));
  EXPECT_EQ(left(), before);
}

}  // namespace
}  // namespace tavrine
