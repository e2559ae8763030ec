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

/// One search. Breadth first: what was moved is most often near.
class Search final {
 public:
  Search(uint64_t inode, const std::function<bool(const Path&)>& isSought) : inode_(inode), isSought_(isSought) {}

  /// On which volume to look: that of the first of these that exists. False where none does.
  bool staysWith(const Path& folder, const Path& folderAbove) {
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0 && ::stat(folderAbove.c_str(), &status) != 0) return false;
    device_ = status.st_dev;
    return true;
  }

  std::optional<Path> below(const Path& top) {
    std::deque<Path> waiting = {top};
    while (!waiting.empty()) {
      if (auto found = in(waiting.front(), &waiting)) return found;
      waiting.pop_front();
    }
    return std::nullopt;
  }

  /// Looks at the names in `folder`; `subfolders`, where given, takes the folders among them.
  std::optional<Path> in(const Path& folder, std::deque<Path>* subfolders) {
    const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!opened.isOpen() || ::fstat(opened.get(), &status) != 0 || status.st_dev != device_) return std::nullopt;
    const DirectoryStream entries = entriesOf(opened.get());
    while (const dirent* entry = entries ? ::readdir(entries.get()) : nullptr) {
      const std::string_view name(entry->d_name);
      if (name == "." || name == "..") continue;
      if (++seen_ > mostEntries) return std::nullopt;
      const Path path = folder / name;
      if (entry->d_ino == inode_ && isSought_(path)) return path;
      if (subfolders != nullptr && entry->d_type == DT_DIR && !name.starts_with(".tavrine-"))
        subfolders->push_back(path);
    }
    return std::nullopt;
  }

 private:
  const uint64_t inode_;
  const std::function<bool(const Path&)>& isSought_;
  uint64_t device_ = 0;
  int seen_ = 0;
};

}  // namespace

std::optional<Path> searchAround(const Path& folder, uint64_t inode, const std::function<bool(const Path&)>& isSought) {
  Search search(inode, isSought);
  if (!search.staysWith(folder, folder.parent_path())) return std::nullopt;
  if (auto found = search.below(folder)) return found;
  return search.in(folder.parent_path(), nullptr);
}

}  // namespace tavrine
