// The image tool as a process among others: its disk, its starter, other users, other mounts.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/linux/file_descriptor.h"
#include "tests/programs/hdiutil/mounted_image_test.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

constexpr uid_t otherUser = 65534;

/// A variable of the environment, for as long as this lives.
class Variable final {
 public:
  Variable(const char* name, const std::string& value) : name_(name) { ::setenv(name, value.c_str(), 1); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { ::unsetenv(name_); }

 private:
  const char* name_;
};

/// Has the tool record what it brings to disk, for as long as this lives.
class RecordedSyncs final {
 public:
  explicit RecordedSyncs(const Path& record) : record_("TAVRINE_SYNCED", record) {}

 private:
  const Variable preload_{"LD_PRELOAD", TAVRINE_RECORDED_SYNCS};
  const Variable sanitizer_{"ASAN_OPTIONS", "verify_asan_link_order=0"};  // which would be loaded second
  const Variable record_;
};

class ImageProcess : public MountedImage {
 protected:
  /// Runs `steps` in a child; whether it got through without a failed expectation.
  template <typename Steps>
  static bool succeedsInChild(Steps steps) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      steps();
      ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    return ::waitpid(pid, &status, 0) == pid && status == 0;
  }

  static void becomeOtherUser() {
    ASSERT_EQ(::syscall(SYS_setgroups, 0, nullptr), 0);
    ASSERT_EQ(::setresgid(otherUser, otherUser, otherUser), 0);
    ASSERT_EQ(::setresuid(otherUser, otherUser, otherUser), 0);
  }

  /// The process whose command line holds all the words; 0 when there is none.
  static pid_t processWith(const std::vector<std::string>& words) {
    for (const auto& entry : fs::directory_iterator("/proc")) {
      const std::string command = contentOf(entry.path() / "cmdline");
      const auto holds = [&command](const std::string& word) { return command.find(word) != std::string::npos; };
      if (std::all_of(words.begin(), words.end(), holds)) return std::stoi(entry.path().filename());
    }
    return 0;
  }

  /// Lets every user open the device of user file systems, in a mount namespace of this process's own.
  bool openDeviceToAll() const {
    const Path device = path("fuse");
    return ::unshare(CLONE_NEWNS) == 0 && ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mknod(device.c_str(), S_IFCHR, makedev(10, 229)) == 0 && ::chmod(device.c_str(), 0666) == 0 &&
           ::mount(device.c_str(), "/dev/fuse", nullptr, MS_BIND, nullptr) == 0;
  }

  /// Why another user than root cannot mount here; empty where one can.
  std::string reasonNotToServeOthers() const {
    if (::geteuid() != 0) return "becoming another user takes root; the other tests run as this one";
    const bool canServe = succeedsInChild([this] {
      EXPECT_TRUE(openDeviceToAll());
      becomeOtherUser();
      EXPECT_EQ(::access(tool().c_str(), X_OK), 0);
    });
    fs::remove(path("fuse"));
    return canServe ? "" : "no device for others can be made, or the build is closed to them";
  }

  void giveFoldersToOtherUser() const {
    for (const Path& folder : {path(""), mountPoint_}) EXPECT_EQ(::chown(folder.c_str(), otherUser, otherUser), 0);
  }

  /// Folders and a file that their owner may not write.
  void closeAll() const {
    makeFolder("mount/closed");
    write(mountPoint_ / "closed/file", "content");
    for (const char* name : {"mount/closed/file", "mount/closed", "mount"}) ::chmod(path(name).c_str(), 0500);
  }
};

TEST_F(ImageProcess, DetachAndPasswordChangeBringAllToDisk) {
  attachImage();
  const RecordedSyncs syncs(path("synced"));
  detachImage();
  EXPECT_EQ(contentOf(path("synced")), "syncfs " + image_.string() + "\n") << "the image's disk, not the volume";
  fs::remove(path("synced"));
  EXPECT_DONE(changePassword(image_, "secret", "other"));
  EXPECT_EQ(contentOf(path("synced")),
            "fsync " + (image_ / "gocryptfs.conf.new").string() + "\nfsync " + image_.string() + "\n");
}

TEST_F(ImageProcess, AFailedSyncIsAFailure) {
  attachImage();
  {
    const RecordedSyncs syncs(path("synced"));
    const Variable failing("TAVRINE_SYNC_FAILS", "yes");
    for (const ToolResult& result : {detach(mountPoint_), changePassword(image_, "secret", "other")}) {
      EXPECT_EQ(result.status, 1);
      EXPECT_NE(result.output.find("Input/output error"), std::string::npos) << result.output;
    }
  }
  EXPECT_TRUE(nothingIsLeft());
  EXPECT_TRUE(opens(image_, "secret"));
}

TEST_F(ImageProcess, ADamagedImageIsRefusedWithTheReason) {
  struct Row {
    const char* file;
    std::string content;
    const char* reason;
  };
  const std::string key = contentOf(image_ / "gocryptfs.conf");
  const size_t inKey = key.find("EncryptedKey") + 20;
  const Row rows[] = {
      {"Info.plist", "", "not recognized"},
      {"Info.plist", "<plist><dict><key>Format</key><string>other</string></dict></plist>", "not recognized"},
      {"gocryptfs.conf", "{}", "Cannot open config file"},
      {"gocryptfs.conf", key.substr(0, inKey) + (key[inKey] == 'A' ? 'B' : 'A') + key.substr(inKey + 1),
       "Authentication error"}};
  for (const Row& row : rows) {
    const std::string whole = contentOf(image_ / row.file);
    fs::permissions(image_ / row.file, fs::perms::owner_write, fs::perm_options::add);
    write(image_ / row.file, row.content);
    for (const ToolResult& result : {attach(image_, mountPoint_), changePassword(image_, "secret", "other")}) {
      EXPECT_NE(result.status, 0);
      EXPECT_NE(result.output.find(row.reason), std::string::npos) << result.output;
    }
    write(image_ / row.file, whole);
  }
  expectImageIsSound();
}

TEST_F(ImageProcess, HelpNamesEveryVerb) {
  const ToolResult help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* verb : {"create", "attach", "detach", "chpass", "info"}) {
    EXPECT_NE(help.output.find(std::string("\n  hdiutil ") + verb), std::string::npos) << verb;
  }
}

TEST_F(ImageProcess, DiesWithTheProcessThatStartedIt) {
  Pipe input;  // held open here, so that nothing else ends the wait for the password
  Pipe output;
  const pid_t starter = ::fork();
  if (starter == 0) {
    const ChildProcess child({tool(), {"attach", "-stdinpass", "-mountpoint", mountPoint_, image_}, input, output});
    for (;;) ::pause();
  }
  const auto toolProcess = [&] { return processWith({"attach", "-mountpoint", image_}); };
  EXPECT_TRUE(eventually([&] {
    return contentOf(Path("/proc") / std::to_string(toolProcess()) / "syscall").starts_with("0 0x0 ");
  })) << "never read its standard input";
  ::kill(starter, SIGKILL);
  ::waitpid(starter, nullptr, 0);
  EXPECT_TRUE(eventually([&] { return toolProcess() == 0; }));
}

TEST_F(ImageProcess, OnlyItsUserSeesAVolume) {
  if (::geteuid() != 0) GTEST_SKIP() << "becoming another user takes root";
  attachImage();
  write(mountPoint_ / "file", "content");
  for (const Path& each : {mountPoint_, mountPoint_ / "file"}) ::chmod(each.c_str(), 0777);
  EXPECT_TRUE(succeedsInChild([this] {
    becomeOtherUser();
    EXPECT_EQ(::access((mountPoint_ / "file").c_str(), R_OK), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(attached().empty());
  }));
  detachImage();
}

TEST_F(ImageProcess, ServesAnOrdinaryUserWhoMayNotWriteEverythingInIt) {
  const std::string reason = reasonNotToServeOthers();
  if (!reason.empty()) GTEST_SKIP() << reason;
  giveFoldersToOtherUser();
  EXPECT_TRUE(succeedsInChild([this] {
    EXPECT_TRUE(openDeviceToAll());
    becomeOtherUser();
    const Path image = path("mine.sparsebundle");
    EXPECT_DONE(create(image));
    EXPECT_DONE(attach(image, mountPoint_));
    closeAll();
    EXPECT_EQ(attached().size(), 1u);
    const FileDescriptor used(::open((mountPoint_ / "closed").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(detach(mountPoint_).status, 16);
    EXPECT_DONE(forceDetach(mountPoint_));
    EXPECT_DONE(attachReadOnly(image, mountPoint_));
    EXPECT_EQ(contentOf(mountPoint_ / "closed/file"), "content");
    detachImage();
  }));
}

TEST_F(ImageProcess, ForeignMountsAreNotListed) {
  const Path foreign = makeFolder("foreign\nmount");
  if (::mount("tavrine-11111111-1111-4111-8111-111111111111", foreign.c_str(), "tmpfs", 0, nullptr) != 0) {
    GTEST_SKIP() << "mounting is not allowed: " << std::strerror(errno);
  }
  attachImage();
  EXPECT_EQ(attached(), (std::vector<Attachment>{{image_, mountPoint_}}));
  EXPECT_EQ(detach(foreign).status, 1);
  EXPECT_EQ(::umount2(foreign.c_str(), 0), 0) << "taken away by the tool";
  detachImage();
}

TEST_F(ImageProcess, AVolumeBoundElsewhereIsClosedThereToo) {
  attachImage();
  const Path bound = makeFolder("bound");
  if (::mount(mountPoint_.c_str(), bound.c_str(), nullptr, MS_BIND, nullptr) != 0) {
    detachImage();
    GTEST_SKIP() << "mounting is not allowed: " << std::strerror(errno);
  }
  EXPECT_EQ(attached(), (std::vector<Attachment>{{image_, bound}, {image_, mountPoint_}}));
  FileDescriptor used(::open(bound.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (int i = 0; i < 2; ++i) EXPECT_EQ(detach(mountPoint_).status, 16) << "in use there, and still to be found";
  EXPECT_TRUE(used.close());
  detachImage();
  EXPECT_TRUE(nothingIsLeft());
}

}  // namespace
}  // namespace tavrine
