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
  EXPECT_NE(resolveBookmark(bookmark_), item_);
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
}

}  // namespace
}  // namespace tavrine
