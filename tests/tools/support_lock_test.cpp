#include "kit/tools/support_lock.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/holding_process.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

TEST(SupportLock, HasOneHolderAtATime) {
  const TemporaryFolder folder;
  auto first = SupportLock::acquire(folder.path());
  ASSERT_TRUE(first);
  EXPECT_FALSE(SupportLock::acquire(folder.path())) << "not even in the same process";
  const HoldingProcess copy([] {});
  first.reset();
  EXPECT_TRUE(SupportLock::acquire(folder.path())) << "a copy of the descriptor does not keep it";
}

TEST(SupportLock, CreatesWhatIsMissingForTheOwnerAloneOrIsNotHeld) {
  const TemporaryFolder folder;
  fs::permissions(folder.path(), fs::perms(0755));
  ASSERT_TRUE(SupportLock::acquire(folder / "new/support/"));
  const std::pair<const char*, int> rows[] = {
      {"", 0755}, {"new", 0700}, {"new/support", 0700}, {"new/support/.tavrine.lock", 0600}};
  for (const auto& [name, mode] : rows) EXPECT_EQ(fs::status(folder / name).permissions(), fs::perms(mode)) << name;
  fs::create_directories(folder / "other/.tavrine.lock");
  EXPECT_FALSE(SupportLock::acquire(folder / "other")) << "the file cannot be opened";
}

}  // namespace
}  // namespace tavrine
