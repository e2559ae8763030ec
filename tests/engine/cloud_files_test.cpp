#include "kit/engine/cloud_files.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "kit/engine/locker.h"
#include "kit/errors/tavrine_error.h"
#include "platform/file_manager.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Status = CloudFiles::Status;

TEST(CloudFiles, NeedADownloadByNameOrStatus) {
  struct Row {
    const char* name;
    bool isUbiquitous;
    std::optional<Status> status;
    bool needs;
  };
  const Row rows[] = {{".a.icloud", false, {}, true},
                      {".a.icloud", true, Status::current, true},
                      {".\u00E9.icloud", false, {}, true},
                      {".icloud", false, {}, false},
                      {"..icloud", false, Status::notDownloaded, false},
                      {"..icloud", true, Status::notDownloaded, true},
                      {"a.icloud", false, {}, false},
                      {".a.iCloud", false, {}, false},
                      {"a", true, Status::current, false},
                      {"a", true, Status::downloaded, true},
                      {"a", true, {}, false},
                      {"a", false, Status::notDownloaded, false}};
  for (const Row& row : rows) {
    EXPECT_EQ(CloudFiles::needsDownload(row.name, row.isUbiquitous, row.status), row.needs) << row.name;
  }
  EXPECT_EQ(CloudFiles::downloadTarget("/c/.Report.pdf.icloud"), "/c/Report.pdf");
  EXPECT_EQ(CloudFiles::downloadTarget("/c/..icloud"), "/c/..icloud");
}

class CloudWait : public testing::Test {
 protected:
  CloudWait() {
    fs::create_directories(placeholder_.parent_path());
    replaceFile(placeholder_, "");
  }

  bool wait(double seconds, const std::function<void()>& atDownloading, const Locker::Cancel& cancel = nullptr) {
    locker_.cloudDownloadTimeout = seconds;
    return locker_.waitForCloudDownloads(folder_.path(), "Shown", cancel, [&](LockStep step) {
      EXPECT_EQ(step, LockStep::downloading);
      ++reports_;
      atDownloading();
    });
  }

  const TemporaryFolder folder_;
  const Path placeholder_ = folder_ / "sub/.x\xFF.pdf.icloud";
  Locker locker_{{folder_ / "support", folder_ / "home"}, {.hdiutil = "/none"}};
  int reports_ = 0;
};

TEST_F(CloudWait, FindsPlaceholdersByTheirBytes) {
  EXPECT_EQ(CloudFiles::notDownloaded(folder_.path()), std::vector{placeholder_});
  EXPECT_EQ(CloudFiles::notDownloaded(placeholder_), std::vector{placeholder_});
  EXPECT_EQ(CloudFiles::notDownloaded(folder_ / "gone"), std::vector<Path>());
}

TEST_F(CloudWait, EndsAsItShould) {
  const auto arrive = [this] { fs::remove(placeholder_); };
  const auto failure = [this](double seconds, const std::function<void()>& then, const Locker::Cancel& cancel) {
    try {
      (void)wait(seconds, then, cancel);
    } catch (const TavrineError& error) {
      return error;
    }
    return TavrineError::notFound();
  };
  const auto cancelled = std::make_shared<CancelToken>();
  EXPECT_EQ(failure(
                0, [] {}, nullptr),
            TavrineError::stillInICloud("Shown"));
  EXPECT_EQ(failure(
                0.01, [] {}, cancelled),
            TavrineError::stillInICloud("Shown"));
  cancelled->cancel();
  EXPECT_EQ(failure(
                0, [] {}, cancelled),
            TavrineError::cancelled());
  EXPECT_EQ(failure(300, arrive, cancelled), TavrineError::cancelled());
  EXPECT_EQ(reports_, 4);
  EXPECT_FALSE(wait(
      300, [] {}, cancelled));
  EXPECT_EQ(reports_, 4);
  replaceFile(placeholder_, "");
  EXPECT_TRUE(wait(0.01, arrive));
}

}  // namespace
}  // namespace tavrine
