#include "tests/engine/engine_fixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "kit/engine/volume_layout.h"
#include "platform/hidden_extension.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

DiskImageTool imageTool(const Path& hdiutil) {
  DiskImageTool tool{hdiutil};
  tool.pause = [](std::chrono::microseconds) {};
  return tool;
}

std::string extendedAttributes(const Path& item) {
  std::string list(4096, '\0');
  const ssize_t size = ::llistxattr(item.c_str(), list.data(), list.size());
  list.resize(size < 0 ? 0 : static_cast<size_t>(size));
  std::vector<std::string> found;
  std::istringstream keys(list);
  for (std::string key; std::getline(keys, key, '\0');) {
    std::string value(4096, '\0');
    const ssize_t length = ::lgetxattr(item.c_str(), key.c_str(), value.data(), value.size());
    value.resize(length < 0 ? 0 : static_cast<size_t>(length));
    found.push_back(" " + key + "=" + value);
  }
  std::sort(found.begin(), found.end());
  std::string all;
  for (const std::string& one : found) all += one;
  return all;
}

/// One line on the item itself.
std::string line(const Path& item) {
  struct stat status {};
  if (::lstat(item.c_str(), &status) != 0) return "missing";
  std::ostringstream text;
  text << std::oct << status.st_mode << std::dec << ' ' << status.st_uid << ':' << status.st_gid << ' '
       << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec << extendedAttributes(item);
  if (S_ISLNK(status.st_mode)) text << " -> " << fs::read_symlink(item).string();
  if (S_ISREG(status.st_mode)) {
    text << ' ' << status.st_size << ' ' << (status.st_blocks < 4096 ? "small " : "large ")
         << std::hash<std::string>()(contentOf(item));
  }
  return text.str();
}

void setTimes(const Path& item, time_t seconds) {
  const timespec times[] = {{seconds, 1}, {seconds, 123456789}};
  EXPECT_EQ(::utimensat(AT_FDCWD, item.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

}  // namespace

EngineTest::EngineTest(Tool tool)
    : ImageTest(tool), locker_({path("support"), path("home")}, imageTool(ImageTest::tool())) {
  fs::create_directories(work());
  locker_.spaceMargin = 0;
}

void EngineTest::SetUp() {
  if (tool() == Path(TAVRINE_REAL_HDIUTIL) && !reasonNotToMount().empty()) GTEST_SKIP() << reasonNotToMount();
}

void EngineTest::TearDown() {
  if (IsSkipped()) return;
  std::error_code ignored;
  fs::remove(path("fake-state/control"), ignored);
  for (const Attachment& one : attached()) EXPECT_DONE(forceDetach(one.mountPoint));
}

Path EngineTest::makeTree(const std::string& name) const {
  const Path item = work(name);
  fs::create_directories(item / "folder/empty folder");
  write(item / "a file", "some content");
  write(item / "folder/nested", "more content");
  write(item / "folder/empty", "");
  fs::create_symlink("folder/nested", item / "link");
  for (const char* below : {"a file", "folder/nested", "folder/empty", "link", "folder/empty folder", "folder", ""})
    setTimes(withoutSlashAtEnd(item / below), 1'000'000'000);
  fs::permissions(item, fs::perms(0751));
  return item;
}

Path EngineTest::makeFile(const std::string& name, const std::string& content) const {
  const Path item = work(name);
  write(item, content);
  fs::permissions(item, fs::perms(0640));
  setTimes(item, 1'000'000'001);
  return item;
}

LockedItem EngineTest::lock(const Path& item) const {
  steps_.clear();
  return locker_.lock(item, {password_, 7}, nullptr, [this](LockStep step) { steps_.push_back(step); });
}

Path EngineTest::removeLock(const Path& lockedURL) const {
  steps_.clear();
  return locker_.removeLock(lockedURL, password_, nullptr, [this](LockStep step) { steps_.push_back(step); });
}

std::vector<std::string> EngineTest::names(const Path& folder) {
  std::vector<std::string> result;
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(folder, missing)) result.push_back(entry.path().filename());
  std::sort(result.begin(), result.end());
  return result;
}

std::vector<std::string> EngineTest::leftovers() const {
  std::vector<std::string> result;
  for (const std::string& name : names(work())) {
    if (name.starts_with(".tavrine-")) result.push_back("in the work folder: " + name);
  }
  for (const std::string& name : names(locker_.mountsRoot)) result.push_back("mount point: " + name);
  for (const Attachment& one : attached()) result.push_back("attached: " + one.image);
  if (!fs::is_directory(locker_.journal.fileURL())) {
    for (const JournalEntry& entry : entries()) result.push_back("in the journal: " + entry.originalPath.string());
  }
  return result;
}

std::string EngineTest::described(const Path& item) {
  std::string text = line(item) + '\n';
  if (!fs::is_directory(fs::symlink_status(item))) return text;
  std::vector<Path> below;
  for (const auto& entry : fs::recursive_directory_iterator(item)) below.push_back(entry.path());
  std::sort(below.begin(), below.end());
  for (const Path& path : below) text += path.string().substr(item.string().size()) + ' ' + line(path) + '\n';
  return text;
}

std::string EngineTest::describedContents(const Path& folder) {
  std::string text;
  for (const std::string& name : names(folder)) {
    if (!VolumeLayout::housekeeping().contains(name)) text += name + ' ' + described(folder / name);
  }
  return text;
}

std::string EngineTest::describedAsVolume(const Path& item) {
  return fs::is_directory(item) ? describedContents(item) : lastComponent(item) + ' ' + described(item);
}

std::string EngineTest::describedInside(const Path& lockedURL) const {
  const Path volume = makeFolder("looked into");
  EXPECT_DONE(attachReadOnly(lockedURL, volume));
  const std::string text = describedContents(volume);
  EXPECT_DONE(detach(volume));
  fs::remove(volume);
  return text;
}

std::string EngineTest::state() const {
  Path image;
  std::set<std::string> items;
  for (const std::string& name : names(work())) {
    const bool isOurs = name.starts_with(".tavrine-");
    const bool isFinal = name.ends_with(".tavrlock");
    const size_t use = std::string(".tavrine-").size() + 36 + 1;
    const std::string hidden = isFinal && hasHiddenExtension(work(name)) == true ? "(hidden)" : "";
    if (isFinal || name.ends_with(".sparsebundle")) image = work(name);
    items.insert(isOurs ? name.substr(use) : isFinal ? "final" + hidden : "item");
  }
  std::string text;
  for (const std::string& item : items) text += item + ' ';
  text += attached().empty() ? "|" : "| attached";
  if (names(locker_.mountsRoot).size() != attached().size()) text += " and a mount point";
  text += " |";
  for (const JournalEntry& entry : entries()) {
    text += " entry";
    if (entry.lockedIdentity) text += entry.lockedIdentity == FileIdentity::of(image) ? " identity" : " WRONG IDENTITY";
    if (entry.lockedAt) text += " time";
    if (entry.deletingPath) text += " deleting";
    if (entry.kind == JournalEntry::Kind::restore && !entry.finalPath.empty()) text += " destination";
  }
  text += " |";
  for (const LockedItem& item : records()) text += ' ' + std::string(rawValue(item.stage));
  return text;
}

void EngineTest::failTool(const std::string& verb, const std::string& message, int status) const {
  std::ofstream(path("fake-state/control"), std::ios::app) << verb << ' ' << status << ' ' << message << '\n';
}

void EngineTest::makeUnusable(const Path& file) {
  fs::remove(file);
  fs::create_directories(file / "in the way");
}

}  // namespace tavrine
