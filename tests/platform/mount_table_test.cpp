#include "platform/linux/mount_table.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tavrine {
namespace {

TEST(MountTable, UndoesTheKernelsEscapesOnce) {
  const std::pair<std::string, const char*> rows[] = {
      {"/plain", "/plain"},        {"/a\\040b", "/a b"}, {"/a\\011b\\012c", "/a\tb\nc"},
      {"/a\\134040b", "/a\\040b"}, {"/a\\134", "/a\\"},  {"/\\303\\274", "/ü"},
      {"/a\\9", "/a\\9"},          {"/a\\04", "/a\\04"}};
  for (const auto& [written, path] : rows) {
    const auto mounts = parseMountTable("36 35 98:0 / " + written + " rw - ext4 /dev/a rw\n");
    ASSERT_EQ(mounts.size(), 1u) << written;
    EXPECT_EQ(mounts[0].mountPoint, path);
  }
}

TEST(MountTable, ReadsEveryFormOfALine) {
  const auto mounts = parseMountTable(
      "36 35 98:0 /sub /mnt rw,noatime shared:1 master:2 - fuse.a\\040b name\\040x rw,user_id=1000,x=,user_idx=7\n"
      "cut off in the 98:0 / /middle rw\n"
      "37 35 0:5 / / rw -  tmpfs\n"
      "38 35 0:6 / /last ro - proc - rw");
  ASSERT_EQ(mounts.size(), 2u);
  EXPECT_EQ(mounts[0].device, "98:0");
  EXPECT_EQ(mounts[0].root, "/sub");
  EXPECT_EQ(mounts[0].options, "rw,noatime");
  EXPECT_EQ(mounts[0].type, "fuse.a b");
  EXPECT_EQ(mounts[0].source, "name x");
  EXPECT_EQ(mounts[0].superOption("user_id"), "1000");
  EXPECT_EQ(mounts[0].superOption("user"), "");
  EXPECT_EQ(mounts[1].source, "-");
}

TEST(MountTable, TheKernelsHoldsTheProcesses) {
  const auto mounts = mountTable();
  EXPECT_TRUE(
      std::any_of(mounts.begin(), mounts.end(), [](const Mount& mount) { return mount.mountPoint == "/proc"; }));
}

}  // namespace
}  // namespace tavrine
