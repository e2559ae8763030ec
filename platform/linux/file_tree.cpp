#include "platform/file_tree.h"

#include <fts.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string>

namespace tavrine {
namespace {

FileType typeOf(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return FileType::regular;
    case S_IFDIR:
      return FileType::folder;
    case S_IFLNK:
      return FileType::symbolicLink;
    case S_IFIFO:
      return FileType::fifo;
    case S_IFSOCK:
      return FileType::socket;
    case S_IFCHR:
      return FileType::characterDevice;
    case S_IFBLK:
      return FileType::blockDevice;
    default:
      return FileType::unknown;
  }
}

FileStatus statusOf(const struct stat& status) {
  return {.type = typeOf(status.st_mode),
          .permissions = status.st_mode & 07777,
          .size = status.st_size,
          .modified = {status.st_mtim.tv_sec, status.st_mtim.tv_nsec},
          .changed = {status.st_ctim.tv_sec, status.st_ctim.tv_nsec},
          .device = status.st_dev,
          .inode = status.st_ino,
          .links = status.st_nlink,
          .owner = status.st_uid,
          .group = status.st_gid};
}

FileTree::Visit visitOf(int info) {
  switch (info) {
    case FTS_D:
      return FileTree::Visit::folder;
    case FTS_DP:
      return FileTree::Visit::folderAgain;
    case FTS_DNR:
      return FileTree::Visit::unreadableFolder;
    case FTS_ERR:
      return FileTree::Visit::error;
    case FTS_NS:
      return FileTree::Visit::noStatus;
    default:
      return FileTree::Visit::other;
  }
}

bool hasError(FileTree::Visit visit) {
  return visit == FileTree::Visit::unreadableFolder || visit == FileTree::Visit::error ||
         visit == FileTree::Visit::noStatus;
}

}  // namespace

struct FileTree::Walker {
  explicit Walker(std::string root) {
    const std::array<char*, 2> roots = {root.data(), nullptr};
    tree = ::fts_open(roots.data(), FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
  }
  Walker(const Walker&) = delete;
  Walker& operator=(const Walker&) = delete;
  ~Walker() {
    if (tree != nullptr) (void)::fts_close(tree);  // nothing was changed that could be lost
  }

  FTS* tree = nullptr;
  FTSENT* last = nullptr;
};

FileTree::FileTree(const Path& root) : walker_(std::make_unique<Walker>(root.string())) {
  if (walker_->tree == nullptr) error_ = errno;
}

FileTree::~FileTree() = default;

std::optional<FileTree::Step> FileTree::next() {
  if (walker_->tree == nullptr) return std::nullopt;
  errno = 0;  // the end of the tree and a failure differ in this alone
  FTSENT* const entry = walker_->last = ::fts_read(walker_->tree);
  if (entry == nullptr) {
    error_ = errno;
    return std::nullopt;
  }
  const Visit visit = visitOf(entry->fts_info);
  const bool hasStatus = visit != Visit::noStatus && entry->fts_statp != nullptr;
  return Step{.visit = visit,
              .isRoot = entry->fts_level == FTS_ROOTLEVEL,
              .path = {entry->fts_path, entry->fts_pathlen},
              .status = hasStatus ? statusOf(*entry->fts_statp) : FileStatus{},
              .error = hasError(visit) ? entry->fts_errno : 0};
}

void FileTree::skipContents() {
  if (walker_->last == nullptr) return;
  (void)::fts_set(walker_->tree, walker_->last, FTS_SKIP);  // fails only for an unknown instruction
}

}  // namespace tavrine
