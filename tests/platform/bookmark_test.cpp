#include "platform/bookmark.h"

#include <gtest/gtest.h>

#include <fstream>

#include "platform/file_identity.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

class Bookmark : public testing::Test {
 protected:
  Bookmark() {
    fs::create_directories(folder_ / "a/sub/deep");
    std::ofstream(item_) << "item";
    bookmark_ = makeBookmark(item_).value();
  }

  std::optional<Path> afterMoveTo(const Path& name) {
    fs::rename(item_, folder_ / name);
    return resolveBookmark(bookmark_);
  }

  /// The handle is the last field.
  static std::string withoutHandle(const std::string& bookmark) {
    size_t end = 0;
    for (int field = 0; field < 5; ++field) end = bookmark.find('\0', end) + 1;
    return bookmark.substr(0, end);
  }

  const TemporaryFolder folder_;
  const Path item_ = folder_ / "a/item";
  std::string bookmark_;
};

TEST_F(Bookmark, FollowsTheItem) {
  EXPECT_EQ(resolveBookmark(bookmark_), item_);
  for (const char* name : {"a/renamed", "a/sub/item", "a/sub/deep/item", "item"}) {
    EXPECT_EQ(afterMoveTo(name), folder_ / name);
    fs::rename(folder_ / name, item_);
  }
  fs::rename(folder_ / "a", folder_ / "b");
  EXPECT_EQ(resolveBookmark(bookmark_), folder_ / "b/item");
}

TEST_F(Bookmark, NamesTheItemItself) {
  fs::create_symlink(folder_ / "a/sub", folder_ / "link");
  fs::create_symlink(item_, folder_ / "a/sub/toItem");
  std::ofstream(folder_ / "item") << "what the text of the last path below would name";
  for (const char* path : {"a/./item", "link/toItem", "link/../item"}) {
    const auto bookmark = makeBookmark(folder_ / path).value();
    EXPECT_EQ(resolveBookmark(bookmark), item_) << path;
    EXPECT_TRUE(isBookmarkOf(bookmark, item_)) << path;
  }
  EXPECT_FALSE(isBookmarkOf(bookmark_, folder_ / "a/sub/toItem"));
}

/// What is done without the right to open kernel handles.
TEST_F(Bookmark, FollowsTheItemBySearchAlone) {
  fs::create_symlink(folder_ / "a", folder_ / "link");
  for (const Path& path : {item_, folder_ / "link/item"}) {
    bookmark_ = withoutHandle(makeBookmark(path).value());
    for (const char* name : {"a/renamed", "a/sub/item", "a/sub/deep/item", "item"}) {
      const Path place = afterMoveTo(name).value_or("");
      EXPECT_EQ(canonicalPath(place), folder_ / name) << path;
      fs::rename(folder_ / name, item_);
    }
  }
  bookmark_ = withoutHandle(makeBookmark(item_).value());
  fs::create_directories(folder_ / "a/.tavrine-0.deleting/sub");
  EXPECT_EQ(afterMoveTo("a/.tavrine-0.deleting/sub/item"), std::nullopt);
  fs::rename(folder_ / "a/.tavrine-0.deleting/sub/item", item_);
  fs::rename(folder_ / "a", folder_ / "b");
  EXPECT_EQ(resolveBookmark(bookmark_), folder_ / "b/item");
}

TEST_F(Bookmark, SearchesWithinBounds) {
  bookmark_ = withoutHandle(bookmark_);
  for (int i = 0; i < 10'001; ++i) std::ofstream(folder_ / "a/sub" / std::to_string(i));
  EXPECT_EQ(afterMoveTo("item"), folder_ / "item") << "a large folder below uses up nothing of the folder above";
  fs::rename(folder_ / "item", folder_ / "a/sub/deep/item");
  EXPECT_EQ(resolveBookmark(bookmark_), std::nullopt);
}

TEST_F(Bookmark, NeverTakesAnotherFileForTheItem) {
  const auto identity = FileIdentity::of(item_);
  EXPECT_EQ(afterMoveTo("a/.tavrine-0.deleting"), std::nullopt);
  EXPECT_EQ(FileIdentity::of(folder_ / "a/.tavrine-0.deleting"), identity);
  std::ofstream(item_) << "another";
  EXPECT_EQ(resolveBookmark(bookmark_), std::nullopt);
  fs::remove(folder_ / "a/.tavrine-0.deleting");
  EXPECT_EQ(resolveBookmark(bookmark_), std::nullopt);
  EXPECT_NE(FileIdentity::of(item_), identity);
  EXPECT_EQ(FileIdentity::of(folder_ / "missing"), std::nullopt);
}

TEST_F(Bookmark, IsNothingWithoutItsForm) {
  EXPECT_EQ(makeBookmark(folder_ / "missing"), std::nullopt);
  for (size_t length = 0; length < bookmark_.size(); ++length) {
    const auto place = resolveBookmark(bookmark_.substr(0, length));  // a cut handle is no more than a missing one
    EXPECT_TRUE(!place || *place == item_) << length;
  }
  EXPECT_EQ(resolveBookmark("book"), std::nullopt);
  for (size_t i = 0; i < bookmark_.size(); ++i) {
    std::string flipped = bookmark_;
    flipped[i] = static_cast<char>(flipped[i] ^ 4);
    const auto place = resolveBookmark(flipped);
    EXPECT_TRUE(!place || *place == item_) << i;
  }
}

}  // namespace
}  // namespace tavrine
