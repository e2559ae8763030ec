#include "platform/file_manager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/full_disk.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

auto entriesOf(const Path& folder) {
  return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

TEST(FileManager, ReplacesAFileWholeAndPrivately) {
  const TemporaryFolder folder;
  const Path file = folder / "record";
  replaceFile(file, "old");
  fs::permissions(file, fs::perms(0644));
  replaceFile(file, std::string("new\0\xFF", 5));
  EXPECT_EQ(readFile(file), std::string("new\0\xFF", 5));
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
  EXPECT_EQ(entriesOf(folder.path()), 1);
}

TEST(FileManager, AFailedReplacementLeavesTheOldFileAlone) {
  const TemporaryFolder folder;
  const Path file = folder / "record";
  replaceFile(file, "old");
  {
    const FullDisk full(1000);
    EXPECT_THROW(replaceFile(file, std::string(2000, 'x')), fs::filesystem_error);
  }
  EXPECT_EQ(readFile(file), "old");
  EXPECT_EQ(entriesOf(folder.path()), 1);
  fs::remove(file);
  fs::create_directory(file);
  EXPECT_THROW(replaceFile(file, "x"), fs::filesystem_error) << "a folder is in its place";
  EXPECT_EQ(entriesOf(folder.path()), 1);
}

TEST(FileManager, ReadsRegularFilesOnlyAndNeverWaits) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const Path& path : {folder / "fifo", folder / "missing", folder.path()}) {
    EXPECT_THROW(readFile(path), fs::filesystem_error) << path;
  }
  std::ofstream(folder / "huge").close();
  fs::resize_file(folder / "huge", 100'000'000'000);
  EXPECT_THROW(readFile(folder / "huge"), fs::filesystem_error) << "it would fill the memory";
  const std::string large(1'000'000, 'x');
  replaceFile(folder / "large", large);
  EXPECT_EQ(readFile(folder / "large"), large);
}

}  // namespace
}  // namespace tavrine
