#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "kit/engine/locker.h"
#include "kit/errors/tavrine_error.h"
#include "platform/file_manager.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

struct RenameCase {
  const char* name;
  int reported;  ///< by the system's exclusive rename
  enum At { nothing, file, emptyFolder, danglingLink, belowFile } destination;
  int error;
};

class RenameExclusively : public testing::TestWithParam<RenameCase> {
 protected:
  RenameExclusively() {
    replaceFile(source_, "source");
    if (GetParam().destination == RenameCase::file) replaceFile(destination_, "there");
    if (GetParam().destination == RenameCase::emptyFolder) fs::create_directory(destination_);
    if (GetParam().destination == RenameCase::danglingLink) fs::create_symlink("nowhere", destination_);
  }

  const TemporaryFolder folder_;
  const Path source_ = folder_ / "source";
  const Path destination_ = GetParam().destination == RenameCase::belowFile ? source_ / "x" : folder_ / "destination";
};

TEST_P(RenameExclusively, FallsBackWhereItMustAndReplacesNothing) {
  const auto rename = [] {
    return GetParam().reported < 0 ? ExclusiveRename(systemExclusiveRename)
                                   : [](const Path&, const Path&) { return GetParam().reported; };
  }();
  const auto before = fs::symlink_status(destination_).type();
  try {
    Locker::renameExclusively(source_, destination_, rename);
    EXPECT_EQ(GetParam().error, 0);
    EXPECT_EQ(readFile(destination_), "source");
    EXPECT_FALSE(fs::exists(source_));
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.code(), std::error_code(GetParam().error, std::generic_category()));
    EXPECT_EQ(error.path1(), source_);
    EXPECT_EQ(readFile(source_), "source");
    EXPECT_EQ(fs::symlink_status(destination_).type(), before);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RenameExclusively,
    testing::Values(RenameCase{"SystemToFreeName", -1, RenameCase::nothing, 0},
                    RenameCase{"SystemOntoFile", -1, RenameCase::file, EEXIST},
                    RenameCase{"SystemOntoDanglingLink", -1, RenameCase::danglingLink, EEXIST},
                    RenameCase{"UnsupportedToFreeName", ENOTSUP, RenameCase::nothing, 0},
                    RenameCase{"InvalidToFreeName", EINVAL, RenameCase::nothing, 0},
                    RenameCase{"UnsupportedOntoFile", ENOTSUP, RenameCase::file, EEXIST},
                    RenameCase{"UnsupportedOntoEmptyFolder", ENOTSUP, RenameCase::emptyFolder, EEXIST},
                    RenameCase{"InvalidOntoDanglingLink", EINVAL, RenameCase::danglingLink, EEXIST},
                    RenameCase{"UnsupportedBelowAFile", ENOTSUP, RenameCase::belowFile, ENOTDIR},
                    RenameCase{"DiskErrorWithFreeName", EIO, RenameCase::nothing, EIO},
                    RenameCase{"ReportedExistingWithFreeName", EEXIST, RenameCase::nothing, EEXIST}),
    [](const auto& chosen) { return std::string(chosen.param.name); });

TEST(FilePrimitives, CopiesByTheToolAndTellsWhatItSaid) {
  const TemporaryFolder folder;
  replaceFile(folder / "a", "content");
  Locker::copy(folder / "a", folder / "b", nullptr);
  EXPECT_EQ(readFile(folder / "b"), "content");
  try {
    Locker::copy(folder / "missing", folder / "c", nullptr);
    FAIL();
  } catch (const TavrineError& error) {
    EXPECT_EQ(error.kind(), TavrineError::Case::copyFailed);
    EXPECT_NE(error.payload<std::string>()->find("missing"), std::string::npos);
    EXPECT_EQ(error.payload<std::string>()->find('\n'), std::string::npos);
  }
  const auto cancel = std::make_shared<CancelToken>();
  cancel->cancel();
  EXPECT_THROW(Locker::copy(folder / "a", folder / "c", cancel), TavrineError);
  EXPECT_FALSE(fs::exists(folder / "c"));
}

TEST(FilePrimitives, AnswerForWhatIsThereAndForWhatIsNot) {
  const TemporaryFolder folder;
  EXPECT_TRUE(Locker::isMountPoint("/proc/"));
  EXPECT_FALSE(Locker::isMountPoint("/"));
  EXPECT_FALSE(Locker::isMountPoint(folder.path()));
  EXPECT_FALSE(Locker::isMountPoint(folder / "missing"));
  EXPECT_GE(Locker::availableSpace(folder.path()), int64_t{0});
  EXPECT_EQ(Locker::availableSpace(folder / "missing"), std::nullopt);
  EXPECT_FALSE(Locker::hasDenyDeleteACL(folder.path()));
  Locker::fullSync(folder.path());
  try {
    Locker::fullSync(folder / "missing");
    FAIL();
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(error.path1(), folder / "missing");
  }
}

}  // namespace
}  // namespace tavrine
