#include "platform/system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

TEST(System, BootTimeIsNowLessTheTimeTheMachineRuns) {
  timespec uptime{};
  ASSERT_EQ(::clock_gettime(CLOCK_BOOTTIME, &uptime), 0);
  EXPECT_NEAR(static_cast<double>(bootTimeSeconds()), static_cast<double>(std::time(nullptr) - uptime.tv_sec), 2);
}

TEST(System, TheGroupContainerIsPrivateOrNotUsed) {
  const TemporaryFolder folder;
  ::setenv("XDG_STATE_HOME", (folder / "state").c_str(), 1);
  const auto container = groupContainer("TEAM.group");
  ASSERT_EQ(container, folder / "state/TEAM.group");
  EXPECT_EQ(fs::status(*container).permissions(), fs::perms::owner_all);
  fs::permissions(*container, fs::perms(0755));
  ASSERT_EQ(groupContainer("TEAM.group"), container);
  EXPECT_EQ(fs::status(*container).permissions(), fs::perms::owner_all);
  fs::permissions(*container, fs::perms(0777));
  EXPECT_EQ(groupContainer("TEAM.group"), std::nullopt) << "anyone could have written there";
  ::setenv("XDG_STATE_HOME", "relative", 1);
  ::setenv("HOME", (folder / "home").c_str(), 1);
  EXPECT_EQ(groupContainer("TEAM.group"), folder / "home/.local/state/TEAM.group");
}

}  // namespace
}  // namespace tavrine
