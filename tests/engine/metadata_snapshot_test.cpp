#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "kit/engine/locker.h"
#include "tests/obeyed_permissions.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

void setModified(const Path& path, int64_t seconds, int64_t nanoseconds) {
  const timespec times[2] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

TEST(MetadataSnapshot, RecordsTheRootAndAllBelowIt) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "a\xFF");
  std::ofstream(folder / "a\xFF/file") << "12345";
  fs::create_symlink("gone", folder / "link");
  for (const char* item : {"a\xFF/file", "a\xFF", "link", ""}) setModified(folder / item, 7, 8);
  const FileTime time = {7, 8};
  auto snapshot = Locker::metadataSnapshot(folder.path().string() + "/");
  for (auto& [path, entry] : snapshot) {
    if (entry.type == FileType::folder) entry.size = 0;  // the file system's own affair
  }
  EXPECT_EQ(snapshot, (Locker::MetadataSnapshot{{"", {FileType::folder, 0, time}},
                                                {"a\xFF", {FileType::folder, 0, time}},
                                                {"a\xFF/file", {FileType::regular, 5, time}},
                                                {"link", {FileType::symbolicLink, 4, time}}}));
  EXPECT_EQ(Locker::metadataSnapshot(folder / "link").size(), 1U) << "a root that is no folder is all there is";
}

TEST(MetadataSnapshot, DiffersAfterAChangeOfANanosecond) {
  const TemporaryFolder folder;
  std::ofstream(folder / "file") << "12345";
  setModified(folder / "file", 7, 8);
  const auto before = Locker::metadataSnapshot(folder.path());
  EXPECT_EQ(Locker::metadataSnapshot(folder.path()), before);
  setModified(folder / "file", 7, 9);
  EXPECT_NE(Locker::metadataSnapshot(folder.path()), before);
}

TEST(MetadataSnapshot, WhatCannotBeExaminedEndsIt) {
  const TemporaryFolder folder;
  EXPECT_THROW(Locker::metadataSnapshot(folder / "gone"), fs::filesystem_error);
  fs::create_directories(folder / "listed/inside");
  fs::permissions(folder / "listed", fs::perms(0400));
  {
    const ObeyedPermissions obeyed;
    EXPECT_THROW(Locker::metadataSnapshot(folder.path()), fs::filesystem_error);
  }
  fs::permissions(folder / "listed", fs::perms::owner_all);
}

}  // namespace
}  // namespace tavrine
