#include "platform/folder_attributes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

class FolderAttributes : public testing::Test {
 protected:
  void SetUp() override {
    for (const Path& folder : {item_, root_, restored_}) fs::create_directory(folder);
    if (!set(item_, "user.note", "first")) GTEST_SKIP() << "extended attributes cannot be kept here";
  }

  static bool set(const Path& path, const std::string& name, const std::string& value) {
    return ::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0) == 0;
  }
  static std::string value(const Path& path, const std::string& name) {
    std::string bytes(4096, '\0');
    const ssize_t length = ::getxattr(path.c_str(), name.c_str(), bytes.data(), bytes.size());
    return length < 0 ? "none" : bytes.substr(0, static_cast<size_t>(length));
  }
  static struct stat statusOf(const Path& path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status;
  }

  const TemporaryFolder folder_;
  const Path item_ = folder_ / "item";
  const Path root_ = folder_ / "root";
  const Path restored_ = folder_ / "restored";
};

TEST_F(FolderAttributes, ComeBackAsTheyWere) {
  const std::string longName = "user." + std::string(240, 'n');
  ASSERT_TRUE(set(item_, longName, std::string("a\0b", 3)));
  ASSERT_TRUE(set(item_, "user.tavrine.folder", "of another volume"));
  ASSERT_TRUE(set(restored_, "user.tavrine.folder.1", "copied from the root"));
  fs::permissions(item_, fs::perms(01570));
  const timespec times[] = {{1'000'000'000, 7}, {-5, 999'999'999}};
  ASSERT_EQ(::utimensat(AT_FDCWD, item_.c_str(), times, 0), 0);
  fs::permissions(root_, fs::perms(0500));
  keepFolderAttributes(item_, root_);
  applyFolderAttributes(root_, restored_);
  const struct stat status = statusOf(restored_);
  EXPECT_EQ(status.st_mode & 07777, 01570U);
  EXPECT_EQ(status.st_mtim.tv_sec, -5);
  EXPECT_EQ(status.st_mtim.tv_nsec, 999'999'999);
  EXPECT_EQ(status.st_atim.tv_sec, 1'000'000'000);
  EXPECT_EQ(value(restored_, "user.note"), "first");
  EXPECT_EQ(value(restored_, longName), std::string("a\0b", 3));
  for (const char* name : {"user.tavrine.folder", "user.tavrine.folder.1"}) EXPECT_EQ(value(restored_, name), "none");
}

TEST_F(FolderAttributes, OfALaterKeepingReplaceThoseOfAnEarlier) {
  keepFolderAttributes(item_, root_);
  ASSERT_EQ(::removexattr(item_.c_str(), "user.note"), 0);
  keepFolderAttributes(item_, root_);
  applyFolderAttributes(root_, restored_);
  EXPECT_EQ(value(restored_, "user.note"), "none");
}

TEST_F(FolderAttributes, AreTheUsualOnesWhereNoneAreKept) {
  fs::permissions(restored_, fs::perms(0700));
  const mode_t mask = ::umask(027);
  applyFolderAttributes(root_, restored_);
  EXPECT_EQ(::umask(mask), 027U);
  EXPECT_EQ(statusOf(restored_).st_mode & 07777, 0750U);
}

TEST_F(FolderAttributes, ThatCannotBeReadAreNotGuessed) {
  for (const char* kept : {"2 493 0 0 1 0 1 0 0", "1 493 0 0", "", "1 493 0 0 1 0 1 0 0 9", "1 493 0 0 1 0 1 0 3"}) {
    ASSERT_TRUE(set(root_, "user.tavrine.folder", kept));
    EXPECT_THROW(applyFolderAttributes(root_, restored_), fs::filesystem_error) << kept;
  }
  EXPECT_THROW(keepFolderAttributes(item_, "/proc/self"), fs::filesystem_error) << "a volume that keeps none";
}

TEST_F(FolderAttributes, KeepTheOwnerOnlyWhereItMayBeGiven) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root may give folders away";
  ASSERT_EQ(::chown(item_.c_str(), 12345, 23456), 0);
  fs::permissions(item_, fs::perms(06755));
  keepFolderAttributes(item_, root_);
  applyFolderAttributes(root_, restored_);
  EXPECT_EQ(statusOf(restored_).st_uid, 12345U);
  EXPECT_EQ(statusOf(restored_).st_gid, 23456U);
  EXPECT_EQ(statusOf(restored_).st_mode & 07777, 06755U);
}

}  // namespace
}  // namespace tavrine
