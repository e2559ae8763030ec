#include "platform/volume.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "platform/access_control.h"
#include "tests/forked_child.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

TEST(VolumeFacts, KnowAMountAlsoOnTheSameDeviceAndFollowNoLink) {
  if (!canMount()) GTEST_SKIP() << "this process may not make mounts";
  const TemporaryFolder folder;
  for (const char* name : {"a b", "a bc", "other"}) fs::create_directory(folder / name);
  fs::create_directory_symlink(folder / "a b", folder / "link");
  const std::string found = inChild([&folder]() -> std::string {
    const Path place = folder / "a b";
    if (!enterMountSpace()) return "no mount space";
    if (::mount((folder / "other").c_str(), place.c_str(), nullptr, MS_BIND, nullptr) != 0) return "no mount";
    if (volumeFacts(place).isRoot != true || volumeFacts(folder / "link").isRoot != false) return "wrong roots";
    if (volumeFacts(folder.path()).isRoot != false || volumeFacts(place).isLocal != true) return "wrong facts";
    if (mountPointsAtOrBelow(folder.path()) != std::vector{place}) return "not found from above";
    if (mountPointsAtOrBelow(place / "") != std::vector{place}) return "not found at its place";
    return mountPointsAtOrBelow(folder / "a").empty() && mountPointsAtOrBelow(place / "x").empty() ? "" : "too many";
  });
  EXPECT_EQ(found, "");
  EXPECT_EQ(volumeFacts(folder / "missing").isRoot, std::nullopt);
}

TEST(AccessControl, KnowsTheUsersGroupsByTheirIdentifiers) {
  const auto user = currentUserUUID();
  ASSERT_TRUE(user);
  if (currentUserName().empty()) GTEST_SKIP() << "the user is in no database";
  char group[64];
  std::snprintf(group, sizeof group, "abcdefab-cdef-abcd-efab-cdef%08x", ::getgid());
  EXPECT_TRUE(isMember(group, *user));
  EXPECT_FALSE(isMember("ABCDEFAB-CDEF-ABCD-EFAB-CDEF7FFFFFF0", *user));
  EXPECT_FALSE(isMember(user->text(), *user)) << "a user is no group";
  EXPECT_FALSE(isMember(group, *Uuid::parse(group))) << "a group is no user";
  EXPECT_FALSE(isMember("staff", *user));
}

}  // namespace
}  // namespace tavrine
