#include "platform/tree_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/open_below.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

class TreeReaderTest : public testing::Test {
 protected:
  TreeReaderTest() {
    fs::create_directories(folder_ / "root/sub/deep");
    std::ofstream(folder_ / "root/sub/deep/file") << "inside";
    fs::create_directory_symlink("sub", folder_ / "root/link");
    fs::create_symlink("sub/deep/file", folder_ / "root/file-link");
    ::mkfifo((folder_ / "root/fifo").c_str(), 0600);
  }

  static int errorOf(const std::function<void()>& action) {
    try {
      action();
    } catch (const fs::filesystem_error& error) {
      return error.code().value();
    }
    return 0;
  }

  const TemporaryFolder folder_;
};

TEST_F(TreeReaderTest, FollowsNoLinkWhereverItStands) {
  const FileDescriptor root(::open((folder_ / "root").c_str(), O_PATH | O_CLOEXEC));
  const struct {
    const char* path;
    std::set<int> errors;
  } cases[] = {
      {"sub/deep/file", {0}},      {"sub", {0}},           {"link/deep/file", {ELOOP, ENOTDIR}}, {"file-link", {ELOOP}},
      {"sub/gone/file", {ENOENT}}, {"sub/gone", {ENOENT}}, {"sub/deep/file/x", {ENOTDIR}},
  };
  for (const auto& [path, errors] : cases) {
    for (const auto open : {openBelow, openBelowByParts}) {
      errno = 0;
      const FileDescriptor opened(open(root.get(), path, O_RDONLY));
      EXPECT_TRUE(errors.contains(opened.isOpen() ? 0 : errno)) << path << " " << errno;
    }
  }
}

TEST_F(TreeReaderTest, OpensRegularFilesAloneAndWaitsForNone) {
  const TreeReader reader(folder_ / "root");
  std::array<std::byte, 100> buffer{};
  EXPECT_EQ(reader.open("sub/deep/file").read(buffer), 6U);
  EXPECT_EQ(errorOf([&] { (void)reader.open("fifo"); }), EINVAL);
  EXPECT_EQ(errorOf([&] { (void)reader.open("sub"); }), EISDIR);
  EXPECT_EQ(errorOf([&] { (void)reader.open(""); }), EISDIR);
  EXPECT_EQ(errorOf([&] { (void)TreeReader(folder_ / "root/file-link").open(""); }), ELOOP);
  EXPECT_EQ(errorOf([&] { (void)TreeReader(folder_ / "gone"); }), ENOENT);
  EXPECT_EQ(reader.examine("link").linkTarget, "sub");
  EXPECT_EQ(reader.status("fifo").type, FileType::fifo);
}

TEST_F(TreeReaderTest, StaysWithItsRootAndNoticesAnother) {
  const TreeReader folder(folder_ / "root/");
  const TreeReader file(folder_ / "root/sub/deep/file");
  EXPECT_TRUE(folder.isStillInPlace());
  fs::rename(folder_ / "root", folder_ / "moved");
  EXPECT_FALSE(folder.isStillInPlace());
  fs::create_directories(folder_ / "root/sub/deep");
  std::ofstream(folder_ / "root/sub/deep/file") << "another";
  EXPECT_FALSE(folder.isStillInPlace());
  EXPECT_EQ(folder.status("sub/deep/file").size, 6);
  EXPECT_EQ(errorOf([&] { (void)file.open(""); }), ESTALE) << "another file has its path";
}

}  // namespace
}  // namespace tavrine
