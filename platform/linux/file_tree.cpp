#include "platform/file_tree.h"

#include <fts.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <string>

#include "platform/linux/posix_status.h"

namespace tavrine {
namespace {

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
              .status = hasStatus ? fileStatusOf(*entry->fts_statp) : FileStatus{},
              .error = hasError(visit) ? entry->fts_errno : 0};
}

void FileTree::skipContents() {
  if (walker_->last == nullptr) return;
  (void)::fts_set(walker_->tree, walker_->last, FTS_SKIP);  // fails only for an unknown instruction
}

}  // namespace tavrine
