#include "platform/linux/programs/hdiutil/image_bundle.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "platform/file_manager.h"
#include "platform/linux/programs/hdiutil/property_list_writer.h"
#include "platform/linux/programs/hdiutil/served_volume.h"
#include "platform/linux/programs/hdiutil/tool_error.h"
#include "platform/property_list.h"
#include "platform/uuid.h"

namespace tavrine {
namespace {

constexpr std::string_view formatKey = "Format";
constexpr std::string_view versionKey = "Version";
constexpr std::string_view identifierKey = "Identifier";
constexpr std::string_view format = "gocryptfs";
constexpr std::string_view version = "1";

/// A folder with exactly that mode, whatever the file mode mask.
void makePrivateFolder(const Path& path) {
  if (::mkdir(path.c_str(), S_IRWXU) != 0 || ::chmod(path.c_str(), S_IRWXU) != 0) throw ToolError::system();
}

bool hasText(const PropertyList& description, std::string_view key, std::string_view wanted) {
  const PropertyList* value = description.member(key);
  return value != nullptr && value->text() != nullptr && *value->text() == wanted;
}

bool isSameFolder(int one, int other) {
  struct stat first {};
  struct stat second {};
  return ::fstat(one, &first) == 0 && ::fstat(other, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

bool isAttached(int folder) {
  const std::vector<ServedVolume> volumes = servedVolumes();
  return std::any_of(volumes.begin(), volumes.end(), [folder](const ServedVolume& volume) {
    return isSameFolder(ServingProcesses(volume).openImage().get(), folder);
  });
}

/// A file inside the open folder, as a path that stays right when the folder is renamed.
Path inside(int folder, const char* name) {
  return Path("/proc/self/fd") / std::to_string(folder) / name;
}

void requireKnownFormat(int folder) {
  std::string text;
  try {
    text = readFile(inside(folder, bundle::description));
  } catch (const std::filesystem::filesystem_error& error) {
    if (error.code() != std::errc::no_such_file_or_directory) throw ToolError(error.code().message());
  }
  const auto description = PropertyList::parse(text);
  if (!description || !hasText(*description, formatKey, format)) throw ToolError("image not recognized");
  if (!hasText(*description, versionKey, version)) throw ToolError("the image is of a version that is not known here");
}

}  // namespace

void makeBundleFolder(const Path& path) {
  makePrivateFolder(path);
}

void describeBundle(const Path& path) {
  makePrivateFolder(path / bundle::contents);
  const std::string identifier = Uuid::random().text();
  replaceFile(path / bundle::description, plistDocument(plistDictionary({{formatKey, plistText(format)},
                                                                         {versionKey, plistText(version)},
                                                                         {identifierKey, plistText(identifier)}})));
}

ImageBundle::ImageBundle(const Path& path) : folder_(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (!folder_.isOpen()) throw ToolError::system();
  requireKnownFormat(folder_.get());
  hold();
}

void ImageBundle::hold() const {
  constexpr auto limit = std::chrono::seconds(5);
  constexpr auto pause = std::chrono::milliseconds(20);
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (::flock(folder_.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) throw ToolError::system("cannot hold the image against others");
    if (isAttached(folder_.get())) throw ToolError("the image is attached already");
    // Whoever was killed in the middle of its work leaves processes that are just about to end.
    if (std::chrono::steady_clock::now() > deadline) throw ToolError("the image is in use by another program");
    std::this_thread::sleep_for(pause);
  }
}

void makeContentsUsable(int bundleFolder) {
  struct stat status {};
  if (::fstatat(bundleFolder, bundle::contents, &status, AT_SYMLINK_NOFOLLOW) != 0)
    throw ToolError::system("the image is damaged");
  if ((status.st_mode & S_IRWXU) == S_IRWXU) return;
  const mode_t usable = (status.st_mode & 07777) | S_IRWXU;
  if (::fchmodat(bundleFolder, bundle::contents, usable, 0) != 0 && errno != EROFS) {
    throw ToolError::system("cannot give access to the image's contents");
  }
}

void removeUnfinishedKeyFiles(int bundleFolder) {
  const std::string copy = bundle::newKeyFile;
  for (const std::string& name : {copy, copy + ".tmp"}) {
    if (::unlinkat(bundleFolder, name.c_str(), 0) != 0 && errno != ENOENT && errno != EROFS) {
      throw ToolError::system("cannot remove what an unfinished password change left");
    }
  }
}

}  // namespace tavrine
