#include "kit/engine/changed_since.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "platform/file_items.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

TEST(ChangedSince, ComparesAllTimesWithTheSecondAfterTheStamp) {
  const TemporaryFolder folder;
  const Path item = folder / "item";
  const Path file = item / "inner/file";
  fs::create_directories(file.parent_path());
  std::ofstream(file) << "content";
  fs::create_symlink("missing", item / "dangling");
  const Date made(std::chrono::seconds(statusOf(item / "dangling").changed.seconds));
  EXPECT_TRUE(changedSince(folder / "missing", made, made));
  EXPECT_FALSE(changedSince(item, made + 9s, made + 9s - 60s));
  EXPECT_TRUE(changedSince(item, made + 9s, made + 9s - 60s - 1us)) << "the clock proves nothing";
  const std::pair<FileTime, bool> rows[] = {{{1, 0}, false}, {{1, 1}, true}, {{2, 0}, true}, {{0, 999'999'999}, false}};
  for (const Path& url : {file, file.parent_path(), item}) {
    EXPECT_TRUE(changedSince(url, made - 9s, made)) << "by its status alone, whatever its content's time";
    for (const auto& [modified, isChange] : rows) {
      const timespec times[] = {{0, 0},
                                {(made + 99s).time_since_epoch().count() + modified.seconds, modified.nanoseconds}};
      ASSERT_EQ(::utimensat(AT_FDCWD, url.c_str(), times, 0), 0);
      EXPECT_EQ(changedSince(item, made + 99s, made + 99s), isChange) << url << modified.nanoseconds;
    }
  }
}

}  // namespace
}  // namespace tavrine
