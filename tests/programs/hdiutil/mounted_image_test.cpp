#include "tests/programs/hdiutil/mounted_image_test.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <utility>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/mount_table.h"

namespace tavrine {

namespace fs = std::filesystem;

void MountedImage::SetUp() {
  if (!reasonNotToMount().empty()) GTEST_SKIP() << reasonNotToMount();
  image_ = makeImage();
  mountPoint_ = makeFolder("mount");
}

void MountedImage::expectImageIsSound() const {
  attachImage();
  write(mountPoint_ / "sound", "yes");
  detachImage();
}

std::vector<pid_t> MountedImage::processes(const std::string& name) const {
  std::vector<pid_t> pids;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string command = contentOf(entry.path() / "cmdline");
    const bool isOurs = command.find(std::string("\0tavrine-", 9)) != std::string::npos &&
                        command.find(path("").string()) != std::string::npos;
    if (isOurs && command.starts_with(name)) pids.push_back(std::stoi(entry.path().filename()));
  }
  return pids;
}

void MountedImage::killProcesses(const std::string& name) const {
  const std::vector<pid_t> pids = processes(name);
  EXPECT_FALSE(pids.empty());
  for (const pid_t pid : pids) ::kill(pid, SIGKILL);
  EXPECT_TRUE(eventually([&] { return processes(name).empty(); }));
}

bool MountedImage::isAnythingMounted() const {
  const std::vector<Mount> mounts = mountTable();
  return std::any_of(mounts.begin(), mounts.end(),
                     [this](const Mount& mount) { return mount.mountPoint.string().starts_with(path("").string()); });
}

bool MountedImage::nothingIsLeft() const {
  return eventually([this] { return processes().empty() && !isAnythingMounted(); });
}

namespace {

TEST_F(MountedImage, ReadOnlyTakesNoWrite) {
  attachImage();
  write(mountPoint_ / "file", "content");
  detachImage();
  EXPECT_DONE(attachReadOnly(image_, mountPoint_));
  EXPECT_EQ(::open((mountPoint_ / "new").c_str(), O_CREAT | O_WRONLY, 0600), -1);
  EXPECT_EQ(errno, EROFS);
  EXPECT_EQ(::unlink((mountPoint_ / "file").c_str()), -1);
  EXPECT_EQ(errno, EROFS);
  detachImage();
}

TEST_F(MountedImage, AVolumeInUseStaysAsItIs) {
  attachImage();
  FileDescriptor file(::open((mountPoint_ / "file").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
  const ToolResult busy = detach(mountPoint_);
  EXPECT_EQ(busy.status, 16);
  EXPECT_EQ(busy.output, "hdiutil: detach failed - Resource busy\n");
  EXPECT_EQ(attached().size(), 1u);
  EXPECT_EQ(::write(file.get(), "after", 5), 5);
  write(mountPoint_ / "other", "too");
  EXPECT_TRUE(file.close());
  detachImage();
  EXPECT_DONE(attachReadOnly(image_, mountPoint_));
  EXPECT_EQ(contentOf(mountPoint_ / "file") + contentOf(mountPoint_ / "other"), "aftertoo");
  detachImage();
}

/// A process that holds a file open and changes its first byte in mapped memory, where it stays until somebody brings
/// it to the file: every close of the file would do that, so this process has it open alone.
class Holder final {
 public:
  explicit Holder(const Path& file) : pid_(::fork()) {
    if (pid_ == 0) hold(file);
    ready_.closeWriteEnd();
    (void)ready_.readToEnd();
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;
  ~Holder() {
    if (pid_ > 0) ::kill(pid_, SIGKILL), ::waitpid(pid_, nullptr, 0);
  }

  /// Whether the file it has open can no longer be read; it ends with that.
  bool hasLostAccess() {
    go_.closeWriteEnd();
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == ENOTCONN;
  }

 private:
  [[noreturn]] void hold(const Path& file) {
    const int fd = ::open(file.c_str(), O_RDWR);
    void* memory = ::mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) ::_exit(0);
    static_cast<char*>(memory)[0] = 'B';
    ready_.closeWriteEnd();
    go_.closeWriteEnd();
    (void)go_.readToEnd();
    char byte = 0;
    ::_exit(::pread(fd, &byte, 1, 0) < 0 ? errno : 0);
  }

  Pipe ready_;
  Pipe go_;
  pid_t pid_;
};

TEST_F(MountedImage, AForcedDetachEndsAccessAndKeepsWhatWasWritten) {
  attachImage();
  write(mountPoint_ / "file", "aaa");
  Holder holder(mountPoint_ / "file");
  EXPECT_EQ(detach(mountPoint_).status, 16);
  EXPECT_DONE(forceDetach(mountPoint_));
  EXPECT_TRUE(processes().empty());
  EXPECT_TRUE(holder.hasLostAccess());
  EXPECT_TRUE(nothingIsLeft());
  attachImage();
  EXPECT_EQ(contentOf(mountPoint_ / "file"), "Baa");
  detachImage();
}

TEST_F(MountedImage, AHungServerIsEndedByForce) {
  attachImage();
  const FileDescriptor folder(::open(mountPoint_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(processes("gocryptfs").size(), 1u);
  ::kill(processes("gocryptfs").front(), SIGSTOP);
  EXPECT_EQ(attached().size(), 1u);
  EXPECT_DONE(forceDetach(mountPoint_));
  EXPECT_TRUE(nothingIsLeft());
  expectImageIsSound();
}

TEST_F(MountedImage, AHungServerThatNobodyUsesIsEndedByForce) {
  attachImage();
  ::kill(processes("gocryptfs").front(), SIGSTOP);
  EXPECT_DONE(forceDetach(mountPoint_));
  EXPECT_TRUE(nothingIsLeft());
  expectImageIsSound();
}

TEST_F(MountedImage, ADetachCutShortCanBeFinished) {
  for (int milliseconds = 0; milliseconds < 150; milliseconds += 10) {
    attachImage();
    const FileDescriptor used(::open(mountPoint_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ToolRun run(tool(), {"detach", mountPoint_, "-quiet", "-force"}, "");
    run.waitAtMost(milliseconds);
    run.cutShort();
    if (run.result().status == 0) continue;
    (void)forceDetach(mountPoint_);  // it fails where nothing was left to finish
    EXPECT_TRUE(nothingIsLeft());
  }
  expectImageIsSound();
}

TEST_F(MountedImage, OneOfTwoAttachesAtOnceGetsTheFolder) {
  const Path other = makeImage("other");
  for (int i = 0; i < 5; ++i) {
    ToolRun one(tool(), {"attach", "-stdinpass", "-mountpoint", mountPoint_, image_}, "secret");
    ToolRun two(tool(), {"attach", "-stdinpass", "-mountpoint", mountPoint_, other}, "secret");
    EXPECT_EQ((one.result().status == 0) + (two.result().status == 0), 1);
    EXPECT_EQ(attached().size(), 1u);
    detachImage();
  }
}

TEST_F(MountedImage, ADeadServerIsListedAndDetached) {
  struct Row {
    std::vector<std::string> killed;
    size_t listed;
    bool works;
  };
  // With both gone nobody is left who knows the image, but what is mounted can still be taken away.
  const Row rows[] = {{{"gocryptfs"}, 1, false}, {{"hdiutil"}, 1, true}, {{"hdiutil", "gocryptfs"}, 0, false}};
  for (const Row& row : rows) {
    for (const bool isForced : {false, true}) {
      attachImage();
      for (const std::string& name : row.killed) killProcesses(name);
      EXPECT_EQ(::access(mountPoint_.c_str(), F_OK) == 0, row.works);
      EXPECT_EQ(attached().size(), row.listed);
      EXPECT_DONE(isForced ? forceDetach(mountPoint_) : detach(mountPoint_));
      EXPECT_TRUE(nothingIsLeft());
      expectImageIsSound();
    }
  }
}

/// Moments spread over the time that one whole run takes, and a little beyond.
std::vector<int> momentsOf(ToolRun&& wholeRun) {
  constexpr int moments = 24;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_DONE(wholeRun.result());
  const auto whole = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  std::vector<int> result;
  for (int i = 0; i <= moments; ++i) result.push_back(static_cast<int>(whole.count()) * i / (moments - 4));
  return result;
}

TEST_F(MountedImage, AnAttachCutShortLeavesNothing) {
  const std::vector<std::string> command = {"attach", "-stdinpass", "-mountpoint", mountPoint_, image_};
  const std::vector<int> moments = momentsOf({tool(), command, "secret"});
  detachImage();
  int cutShort = 0;
  int acknowledged = 0;  // killed in the moment between its last word to the guard and its exit
  for (const int milliseconds : moments) {
    ToolRun run(tool(), command, "secret");
    run.waitAtMost(milliseconds);
    run.cutShort();
    const bool isDone = run.result().status == 0;
    if (!isDone) ++cutShort;
    if (!isDone && nothingIsLeft()) continue;
    if (!isDone) ++acknowledged;
    detachImage();
  }
  EXPECT_GT(cutShort, 5);
  EXPECT_LE(acknowledged, 1);
  expectImageIsSound();
}

TEST_F(MountedImage, APasswordChangeCutShortKeepsOneOfTheTwo) {
  const std::vector<std::string> command = {"chpass", "-oldstdinpass", "-newstdinpass", image_};
  std::string now = "secret";
  std::string next = "other";
  for (const int milliseconds : momentsOf({tool(), command, now + '\0' + now + '\0'})) {
    ToolRun run(tool(), command, now + '\0' + next + '\0');
    run.waitAtMost(milliseconds);
    run.cutShort();
    const bool isDone = run.result().status == 0;
    if (opens(image_, next)) {
      std::swap(now, next);
    } else {
      EXPECT_FALSE(isDone) << milliseconds;
    }
    EXPECT_TRUE(opens(image_, now)) << milliseconds;
    EXPECT_FALSE(opens(image_, next)) << milliseconds;
    EXPECT_EQ(std::distance(fs::directory_iterator(image_), fs::directory_iterator()), 3) << milliseconds;
  }
}

TEST_F(MountedImage, AServerStandsOnItsOwn) {
  attachImage();
  EXPECT_EQ(processes().size(), 2u);
  for (const pid_t pid : processes()) {
    EXPECT_EQ(::getsid(pid), pid);
    EXPECT_EQ(fs::read_symlink(Path("/proc") / std::to_string(pid) / "cwd"), "/");
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
      if (contentOf(Path("/proc") / std::to_string(pid) / "cmdline").starts_with("hdiutil")) ::kill(pid, signal);
    }
  }
  EXPECT_EQ(processes().size(), 2u);
  detachImage();
  EXPECT_TRUE(processes().empty()) << "when the tool has returned, not some time later";
}

TEST_F(MountedImage, NamesStandNowhereInClear) {
  EXPECT_DONE(create(path("a.sparsebundle"), "secret", "Hidden Volume"));
  EXPECT_DONE(attach(path("a.sparsebundle"), mountPoint_));
  write(mountPoint_ / "Hidden File", "Hidden Content");
  fs::create_symlink("Hidden Target", mountPoint_ / "link");
  for (const Mount& mount : mountTable()) {
    EXPECT_EQ((mount.source + mount.superOptions).find("a.sparsebundle"), std::string::npos) << mount.source;
  }
  detachImage();
  int files = 0;
  for (const auto& entry : fs::recursive_directory_iterator(path("a.sparsebundle"))) {
    std::string all = entry.path().filename();
    if (entry.is_symlink()) all += fs::read_symlink(entry);
    if (entry.is_regular_file()) all += contentOf(entry);
    EXPECT_EQ(all.find("Hidden"), std::string::npos) << entry.path();
    ++files;
  }
  EXPECT_EQ(files, 6);
}

TEST_F(MountedImage, TheContentsStayUsableWhateverModeTheVolumeGets) {
  const auto isUsable = [this] { return fs::status(image_ / "data").permissions() == fs::perms::owner_all; };
  attachImage();
  makeFolder("mount/closed");
  fs::permissions(mountPoint_ / "closed", fs::perms::none);
  for (const mode_t mode : {0500u, 0u}) {
    (void)::chmod(mountPoint_.c_str(), mode);  // an ordinary user may be told that it failed when it did not
    EXPECT_TRUE(eventually(isUsable));
    write(mountPoint_ / "file", "content");
  }
  detachImage();
  fs::permissions(image_ / "data", fs::perms::none);  // as a machine that went down while it was attached leaves it
  attachImage();
  EXPECT_TRUE(isUsable());
  EXPECT_EQ(fs::status(mountPoint_ / "closed").permissions(), fs::perms::none);
  EXPECT_EQ(contentOf(mountPoint_ / "file"), "content");
  detachImage();
}

/// All that can be told of the entries below `root`.
std::string describe(const Path& root) {
  std::ostringstream text;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    struct stat status {};
    char value[64] = {};
    EXPECT_EQ(::lstat(entry.path().c_str(), &status), 0);
    const ssize_t length = ::lgetxattr(entry.path().c_str(), "user.test", value, sizeof value);
    text << entry.path().lexically_relative(root) << std::oct << status.st_mode << std::dec << ' ' << status.st_size
         << ' ' << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec << ' ' << status.st_uid << ':'
         << status.st_gid << ' ' << status.st_nlink << ' ' << (status.st_blocks < 4096 ? "small" : "large") << ' '
         << length << value;
    if (entry.is_symlink()) text << " -> " << fs::read_symlink(entry);
    text << '\n';
  }
  return text.str();
}

TEST_F(MountedImage, AVolumeKeepsAllAttributes) {
  attachImage();
  write(mountPoint_ / "file", "content");
  EXPECT_EQ(::setxattr((mountPoint_ / "file").c_str(), "user.test", "v\0w", 3, 0), 0);
  if (::geteuid() == 0) {
    EXPECT_EQ(::lchown((mountPoint_ / "file").c_str(), 1234, 5678), 0);
  }
  ::chmod((mountPoint_ / "file").c_str(), 06751);
  fs::create_hard_link(mountPoint_ / "file", mountPoint_ / std::string(255, 'n'));
  fs::create_symlink("nowhere/ünï", mountPoint_ / "link");
  makeFolder("mount/closed/sub");
  ::chmod((mountPoint_ / "closed").c_str(), 01500);
  write(mountPoint_ / "holes", "start");
  fs::resize_file(mountPoint_ / "holes", 1 << 30);
  const timespec times[] = {{1, 2}, {-86400, 123456789}};
  for (const char* name : {"file", "link", "closed"}) {
    EXPECT_EQ(::utimensat(AT_FDCWD, (mountPoint_ / name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  }
  const std::string before = describe(mountPoint_);
  detachImage();
  EXPECT_DONE(attachReadOnly(image_, mountPoint_));
  EXPECT_EQ(describe(mountPoint_), before);
  EXPECT_NE(before.find("-86400.123456789"), std::string::npos) << before;
  EXPECT_EQ(before.find("large"), std::string::npos) << before;
  detachImage();
}

}  // namespace
}  // namespace tavrine
