#include "kit/commands/shared_state.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/file_manager.h"
#include "tests/full_disk.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

class SharedStateFile : public testing::Test {
 protected:
  std::optional<SharedState> reading(const std::string& text) {
    replaceFile(file_, text);
    return SharedState::read(file_);
  }

  const TemporaryFolder folder_;
  const Path file_ = folder_ / "state.json";
};

TEST_F(SharedStateFile, IsWrittenCompactlyWithEscapedSlashesAndReadBack) {
  const SharedState state{{"/Users/user/Taxes.tavrlock", "/no \xFF utf-8", "/line\n\"break\"\\"}, 1'700'000'000};
  const Path nested = folder_ / "new/folder/state.json";
  state.write(nested);
  EXPECT_EQ(SharedState::read(nested), state);
  SharedState{{"/a/b"}, 7}.write(nested);
  EXPECT_EQ(readFile(nested), R"({"bootTime":7,"unlockedPaths":["\/a\/b"]})");
}

TEST_F(SharedStateFile, ReadsWhatAnyCorrectWriterWrites) {
  const SharedState expected{{"/a"}, -1};
  EXPECT_EQ(reading(R"({ "unlockedPaths": ["/a"], "bootTime": -1 })"), expected);
  EXPECT_EQ(reading("{\"bootTime\":-1,\n\"unlockedPaths\":[\"\\u002Fa\"],\"later\":{\"x\":[null]}}"), expected);
}

TEST_F(SharedStateFile, AnythingElseReadsAsNothing) {
  for (const char* text :
       {"", "{}", "[]", R"({"unlockedPaths":[]})", R"({"bootTime":1})", R"({"unlockedPaths":[],"bootTime":"1"})",
        R"({"unlockedPaths":[],"bootTime":1.5})", R"({"unlockedPaths":[],"bootTime":9223372036854775808})",
        R"({"unlockedPaths":"/a","bootTime":1})", R"({"unlockedPaths":[1],"bootTime":1})",
        R"({"unlockedPaths":[],"bootTime":1}x)"}) {
    EXPECT_EQ(reading(text), std::nullopt) << text;
  }
  EXPECT_EQ(SharedState::read(std::nullopt), std::nullopt);
  EXPECT_EQ(SharedState::read(folder_ / "missing"), std::nullopt);
  EXPECT_EQ(SharedState::read(folder_.path()), std::nullopt);
}

TEST_F(SharedStateFile, AFailingWriteIsReportedAndLeavesTheOldFile) {
  const SharedState old{{"/a"}, 1};
  old.write(file_);
  const SharedState large{{std::string(5000, 'x')}, 2};
  {
    const FullDisk full(1000);
    EXPECT_THROW(large.write(file_), fs::filesystem_error);
  }
  EXPECT_EQ(SharedState::read(file_), old);
  EXPECT_THROW(old.write(file_ / "below a file"), fs::filesystem_error);
}

TEST(SharedState, SaysNothingAboutAnotherBoot) {
  const SharedState state{{"/b", "/a", "/b"}, 100};
  EXPECT_EQ(state.unlockedSet(100), (std::set<std::string>{"/a", "/b"}));
  EXPECT_EQ(state.unlockedSet(101), std::nullopt);
  EXPECT_EQ((SharedState{{}, 100}).unlockedSet(100), std::set<std::string>()) << "none unlocked is not unknown";
}

}  // namespace
}  // namespace tavrine
