#include "platform/file_tree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/directory_stream.h"
#include "platform/linux/posix_status.h"

// The C library's own walk is not used: it takes a folder whose listing breaks off for one that ends there.

namespace tavrine {
namespace {

/// The names in a folder, in the order the file system lists them. Keeps no descriptor.
struct Listing {
  std::vector<std::string> names;
  int error = 0;  ///< errno, where the listing is not whole
};

Listing listingOf(const std::string& path) {
  const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  const DirectoryStream entries(folder < 0 ? nullptr : ::fdopendir(folder));
  if (!entries) {
    const int error = errno;
    if (folder >= 0) (void)::close(folder);  // it was only read
    return {{}, error};
  }
  Listing listing;
  for (;;) {
    errno = 0;  // the end and a failure differ in this alone
    const dirent* const entry = ::readdir(entries.get());
    if (entry == nullptr) break;
    const std::string_view name(entry->d_name);
    if (name != "." && name != "..") listing.names.emplace_back(name);
  }
  listing.error = errno;
  return listing;
}

}  // namespace

struct FileTree::Walker {
  /// A folder whose contents are being visited.
  struct Folder {
    FileStatus status;
    size_t pathLength;  ///< of its own path in `path`
    std::vector<std::string> names;
    size_t next = 0;
  };

  explicit Walker(std::string root) : path(std::move(root)), rootLength(path.size()) {}

  Step step(Visit visit, const FileStatus& status, int error = 0) const {
    return {visit, path.size() == rootLength, path, status, error};
  }

  /// The item at `path`, which is seen for the first time.
  Step arrive() {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return step(Visit::noStatus, {}, errno);
    const FileStatus found = fileStatusOf(status);
    if (found.type != FileType::folder) return step(Visit::other, found);
    entered = found;
    return step(Visit::folder, found);
  }

  /// Goes into the folder at `path`. The step that says that it cannot be read; nothing where it can.
  std::optional<Step> enter(const FileStatus& status) {
    Listing listing = listingOf(path);
    if (listing.error != 0) return step(Visit::unreadableFolder, status, listing.error);
    folders.push_back({status, path.size(), std::move(listing.names)});
    return std::nullopt;
  }

  /// What comes behind the contents of the folder whose turn it was.
  Step leave() {
    path.resize(folders.back().pathLength);
    const FileStatus status = folders.back().status;
    folders.pop_back();
    return step(Visit::folderAgain, status);
  }

  std::string path;
  const size_t rootLength;
  bool isStarted = false;
  std::optional<FileStatus> entered;  ///< of the folder of the last step, whose contents come next
  bool isSkipped = false;             ///< those contents are left out
  std::vector<Folder> folders;        ///< those above the present place
};

FileTree::FileTree(const Path& root) : walker_(std::make_unique<Walker>(root.string())) {}

FileTree::~FileTree() = default;

std::optional<FileTree::Step> FileTree::next() {
  Walker& walker = *walker_;
  if (!std::exchange(walker.isStarted, true)) return walker.arrive();
  if (const auto status = std::exchange(walker.entered, std::nullopt)) {
    if (std::exchange(walker.isSkipped, false)) return walker.step(Visit::folderAgain, *status);
    if (auto unreadable = walker.enter(*status)) return unreadable;
  }
  if (walker.folders.empty()) return std::nullopt;
  Walker::Folder& folder = walker.folders.back();
  if (folder.next == folder.names.size()) return walker.leave();
  walker.path.resize(folder.pathLength);
  if (walker.path != "/") walker.path += '/';
  walker.path += folder.names[folder.next++];
  return walker.arrive();
}

void FileTree::skipContents() {
  walker_->isSkipped = walker_->entered.has_value();
}

}  // namespace tavrine
