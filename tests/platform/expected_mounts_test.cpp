#include "platform/expected_mounts.h"

#include <gtest/gtest.h>

#include "platform/linux/fstab.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

TEST(ExpectedMounts, AreWhatTheFileNames) {
  const auto found = fstabMountPoints(
      "# /dev/a /comment ext4\n  #/dev/b /comment ext4\n\nUUID=1 / ext4 defaults 0 1\n/dev/c\t/data\text4\tnoauto\t0 "
      "0\n"
      "  server:/x   /net\\040work/  nfs4 ro\n/swapfile none swap sw\nUUID=2 swap swap\ncut\n/dev/d /last");
  EXPECT_EQ(found, (std::vector<Path>{"/data", "/net work", "/last"}));
}

TEST(ExpectedMounts, AreMissedAtAndBelowTheirPlace) {
  const TemporaryFolder folder;
  const std::string top = folder.path().string();
  const auto mount = [&](const std::string& place, const std::string& type) {
    return "36 35 98:0 / " + top + place + " rw - " + type + " source rw\n";
  };
  const std::string data = "/dev/a " + top + "/data ext4\n";
  const struct {
    const char* inside;
    std::string fstab;
    std::string table;
    bool isMissed;
  } rows[] = {
      {"/data", data, "", true},
      {"/data/a/b", data, "", true},
      {"/database", data, "", false},
      {"", data, "", false},
      {"/link/a", data, "", true},
      {"/data/a", data, mount("/data", "ext4"), false},
      {"/data/a", data, mount("/data/other", "ext4") + mount("", "ext4") + mount("/da", "ext4"), true},
      {"/data/sub/a", data, mount("/data/sub", "ext4"), false},
      {"/auto/a", "", mount("/auto", "autofs"), true},
      {"/auto/a", "", mount("/auto", "autofs") + mount("/auto", "nfs4"), false},
      {"/auto/host/a", "", mount("/auto", "autofs") + mount("/auto/host", "nfs4"), false},
      {"/auto/host/a", "", mount("/auto", "autofs") + mount("/auto/other", "nfs4"), true},
  };
  std::filesystem::create_directory(folder / "data");
  std::filesystem::create_symlink("data", folder / "link");
  for (const auto& row : rows) {
    EXPECT_EQ(awaitsMount(top + row.inside, row.fstab, parseMountTable(row.table)), row.isMissed) << row.inside << '\n'
                                                                                                  << row.table;
  }
  EXPECT_FALSE(awaitsMount("/"));
}

}  // namespace
}  // namespace tavrine
