#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <filesystem>

#include "kit/engine/locker.h"
#include "kit/errors/tavrine_error.h"
#include "kit/tools/file_walk.h"
#include "platform/file_manager.h"
#include "tests/tools/scripted_tool.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Case = std::optional<TavrineError::Case>;

Case failure(const std::function<void()>& check) {
  try {
    check();
  } catch (const TavrineError& error) {
    const auto* name = error.payload<std::string>();
    EXPECT_TRUE(name == nullptr || *name == "Shown" || error.kind() == Case::value_type::diskImage);
    return error.kind();
  }
  return std::nullopt;
}

class ContentChecks : public testing::Test {
 protected:
  ContentChecks() {
    fs::create_directories(item_ / "sub");
    replaceFile(item_ / "sub/file", "x");
  }

  Case ofMounts(const std::string& image, const Path& mountPoint, int status = 0) const {
    const std::string list =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist "
        "version=\"1.0\"><dict><key>images</key><array><dict><key>system-entities</key>"
        "<array><dict><key>mount-point</key><string>" +
        mountPoint.string() + "</string></dict></array><key>image-path</key><string>" + image +
        "</string></dict></array></dict></plist>";
    const ScriptedTool tool({{status, list}});
    const Locker locker({folder_ / "support", folder_ / "home"}, {.hdiutil = tool.path()});
    return failure([&] { locker.refuseMountsInside(item_ / "", "Shown"); });
  }
  Case ofNames() const {
    return failure([&] { Locker::refuseAppleDoubleOrFinderLockedInside(item_, "Shown"); });
  }
  static Case ofLinks(const Path& url) {
    return failure([&] { Locker::refuseHardLinkedFiles(url, "Shown"); });
  }

  const TemporaryFolder folder_;
  const Path item_ = folder_ / "item";
};

TEST_F(ContentChecks, RefuseImagesInUseAndMounts) {
  using enum TavrineError::Case;
  const std::string at = item_.string();
  fs::create_directory_symlink(item_ / "sub", folder_ / "link");
  EXPECT_EQ(ofMounts(at + "/a.tavrlock", "/elsewhere"), containsUnlockedItem);
  EXPECT_EQ(ofMounts(at + "/a.tavrlock", item_ / "sub"), containsUnlockedItem);
  EXPECT_EQ(ofMounts(at + "/a.TAVRLOCK", "/elsewhere"), containsMountedDisk);
  EXPECT_EQ(ofMounts(at, "/elsewhere"), containsMountedDisk);
  EXPECT_EQ(ofMounts("/elsewhere/a.tavrlock", item_), containsMountedDisk);
  EXPECT_EQ(ofMounts("/elsewhere/a.tavrlock", folder_ / "link"), containsMountedDisk);
  EXPECT_EQ(ofMounts(at + "2/a.tavrlock", at + "2"), Case());
  EXPECT_EQ(ofMounts(at + "/a.tavrlock", item_, 1), diskImage);
}

TEST_F(ContentChecks, RefuseAMountOfTheKernelsTable) {
  const ScriptedTool tool({{0,
                            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist "
                            "version=\"1.0\"><dict><key>images</key><array/></dict></plist>"}});
  const Locker locker({folder_ / "support", folder_ / "home"}, {.hdiutil = tool.path()});
  const auto check = [&](const Path& url) { return failure([&] { locker.refuseMountsInside(url, "Shown"); }); };
  EXPECT_EQ(check("/proc"), TavrineError::Case::containsMountedDisk);
  EXPECT_EQ(check("/proc/self"), Case());
  EXPECT_EQ(check(item_), Case());
}

TEST_F(ContentChecks, RefuseAppleDoubleAndHardLinks) {
  EXPECT_EQ(ofNames(), Case());
  EXPECT_EQ(ofLinks(item_), Case());
  EXPECT_EQ(failure([&] { Locker::refuseAppleDoubleOrFinderLockedInside("/gone/._a", "Shown"); }),
            TavrineError::Case::containsAppleDouble);
  fs::create_directory(item_ / "sub/._a");
  EXPECT_EQ(ofNames(), TavrineError::Case::containsAppleDouble);
  fs::create_hard_link(item_ / "sub/file", folder_ / "other");
  EXPECT_EQ(ofLinks(item_), TavrineError::Case::hardLinked);
  EXPECT_EQ(ofLinks(folder_ / "other"), TavrineError::Case::hardLinked);
  EXPECT_THROW(ofLinks(folder_ / "gone"), FileWalk::WalkError);
}

TEST_F(ContentChecks, RefuseLockedFlags) {
  const int file = ::open((item_ / "sub/file").c_str(), O_RDONLY | O_CLOEXEC);
  int flags = FS_APPEND_FL;
  if (::ioctl(file, FS_IOC_SETFLAGS, &flags) != 0) {
    (void)::close(file);
    GTEST_SKIP() << "no right to set file flags here";
  }
  const auto ofItem = [](const Path& url) { return failure([&] { Locker::refuseFinderLocked(url, "Shown"); }); };
  EXPECT_EQ(ofItem(item_ / "sub/file"), TavrineError::Case::finderLocked);
  EXPECT_EQ(ofItem(item_), Case());
  EXPECT_EQ(ofItem(item_ / "gone"), Case());
  EXPECT_EQ(ofNames(), TavrineError::Case::containsFinderLocked);
  flags = 0;
  EXPECT_EQ(::ioctl(file, FS_IOC_SETFLAGS, &flags), 0);
  (void)::close(file);
}

}  // namespace
}  // namespace tavrine
