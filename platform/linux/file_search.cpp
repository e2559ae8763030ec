#include "platform/linux/file_search.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <deque>
#include <string_view>

#include "platform/linux/directory_stream.h"
#include "platform/linux/file_descriptor.h"

namespace tavrine {
namespace {

constexpr int mostEntries = 10'000;

/// One search on one volume. Folders that it comes upon wait in line, so that what is near is looked at first.
class Search final {
 public:
  Search(uint64_t inode, const std::function<bool(const Path&)>& isSought) : inode_(inode), isSought_(isSought) {}

  enum class Subfolders { wait, skip };

  /// Looks at the names in a folder that the search starts from, which may be reached through a link; the first that
  /// can be opened says which volume it is. False where it cannot.
  bool lookIn(const Path& folder, Subfolders subfolders) {
    const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (!opened.isOpen() || ::fstat(opened.get(), &status) != 0) return false;
    if (!device_) device_ = status.st_dev;
    if (status.st_dev == device_) look(opened.get(), folder, subfolders);
    return true;
  }

  void lookInWaiting() {
    for (; mayGoOn() && !waiting_.empty(); waiting_.pop_front()) {
      const Path folder = waiting_.front();
      if (isMount(folder)) continue;
      const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      struct stat status {};
      if (!opened.isOpen() || ::fstat(opened.get(), &status) != 0 || status.st_dev != device_) continue;
      look(opened.get(), folder, Subfolders::wait);
    }
  }

  bool mayGoOn() const { return !found_ && seen_ < mostEntries; }
  const std::optional<Path>& found() const { return found_; }

 private:
  void look(int opened, const Path& folder, Subfolders subfolders) {
    const DirectoryStream entries = entriesOf(opened);
    while (const dirent* entry = entries && mayGoOn() ? ::readdir(entries.get()) : nullptr) {
      const std::string_view name(entry->d_name);
      if (name == "." || name == "..") continue;
      ++seen_;
      if (mayBeSought(*entry) && isSought_(folder / name)) found_ = folder / name;
      if (subfolders == Subfolders::wait && !name.starts_with(".tavrine-") && isFolder(opened, *entry)) {
        waiting_.push_back(folder / name);
      }
    }
  }

  bool mayBeSought(const dirent& entry) const {
    constexpr uint64_t unknownInode = 0xffffffff;  // what a file system of a process lists where it does not know
    return entry.d_ino == inode_ || entry.d_ino == unknownInode;
  }

  /// Whether a volume is mounted there, or would be by going in: asked without a word to the server of it, which may be
  /// dead.
  static bool isMount(const Path& folder) {
    constexpr int quietly = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
    struct statx status {};
    if (::statx(AT_FDCWD, folder.c_str(), quietly, STATX_TYPE, &status) != 0) return true;
    return (status.stx_attributes & (STATX_ATTR_MOUNT_ROOT | STATX_ATTR_AUTOMOUNT)) != 0;
  }

  static bool isFolder(int folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat status {};
    return ::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
  }

  const uint64_t inode_;
  const std::function<bool(const Path&)>& isSought_;
  std::optional<dev_t> device_;
  std::deque<Path> waiting_;
  std::optional<Path> found_;
  int seen_ = 0;
};

}  // namespace

std::optional<Path> searchAround(const Path& folder, uint64_t inode, const std::function<bool(const Path&)>& isSought) {
  using Subfolders = Search::Subfolders;
  Search search(inode, isSought);
  // A folder that is gone was most often renamed: then it is one of those in the folder above.
  const bool isThere = search.lookIn(folder, Subfolders::wait);
  if (search.mayGoOn()) search.lookIn(folder.parent_path(), isThere ? Subfolders::skip : Subfolders::wait);
  search.lookInWaiting();
  return search.found();
}

}  // namespace tavrine
