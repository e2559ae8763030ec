#include "platform/linux/tree_descent.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/directory_stream.h"

namespace tavrine {
namespace {

constexpr size_t openLevels = 16;
constexpr size_t worthSharing = 256;  // entries, so that starting a thread costs little beside what it takes over

int mostHelpers() {
  return static_cast<int>(std::clamp(std::thread::hardware_concurrency() * 2, 2U, 8U)) - 1;
}

bool isFolder(int above, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status {};
  return ::fstatat(above, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

void TreeDescent::run(TreeVisitor& visitor, const Bounds& bounds, FileDescriptor above, const std::string& name,
                      const Path& path) {
  Shared shared{visitor, bounds};
  TreeDescent(shared, path, std::move(above), {name}).run();
}

TreeDescent::TreeDescent(Shared& shared, Path path, FileDescriptor top, std::vector<std::string> folders)
    : shared_(shared), path_(std::move(path)) {
  levels_.push_back({{}, std::move(top), 0, 0, std::move(folders), {}});
}

void TreeDescent::run() {
  for (;;) {
    Level& last = levels_.back();
    if (!last.folders.empty()) {
      share();
      const std::string name = std::move(last.folders.back());
      last.folders.pop_back();
      enter(name);
    } else if (levels_.size() > 1) {
      leave();
    } else {
      return waitForHelpers(last);
    }
  }
}

void TreeDescent::enter(const std::string& name) {
  const int above = levels_.back().fd.get();
  auto folder = openFolderIn(above, name.c_str(), shared_.bounds,
                             [this](const OpenedFolder& opened) { shared_.visitor.enter(opened); });
  if (!folder) {
    const int error = errno;
    // An empty folder that may not be read may still be one that this user may remove.
    if (error == EACCES && shared_.visitor.leave(above, name.c_str()) == 0) return;
    return report(name, error);
  }
  levels_.push_back({name, std::move(folder->fd), folder->status.stx_ino, deviceOf(folder->status), {}, {}});
  list(levels_.back());
  // The first level stays open: it has no way back.
  if (levels_.size() > openLevels + 1) levels_[levels_.size() - 1 - openLevels].fd = FileDescriptor();
}

void TreeDescent::list(Level& level) {
  const DirectoryStream stream = entriesOf(level.fd.get());
  if (!stream) return report({}, errno);
  std::vector<std::string> others;  // some file systems skip entries when a folder shrinks while it is listed
  errno = 0;                        // the end and a failure differ in this alone
  while (const dirent* entry = ::readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") (isFolder(level.fd.get(), *entry) ? level.folders : others).emplace_back(name);
    errno = 0;
  }
  if (errno != 0) report({}, errno);
  visitedSinceShared_ += others.size() + 1;
  for (const std::string& name : others) {
    if (const int error = shared_.visitor.visit(level.fd.get(), name.c_str()); error != 0) report(name, error);
  }
}

void TreeDescent::leave() {
  waitForHelpers(levels_.back());
  const Level done = std::move(levels_.back());
  levels_.pop_back();
  Level& above = levels_.back();
  if (!above.fd.isOpen()) goBackTo(above, done);
  if (!above.fd.isOpen()) return abandon();
  if (const int error = shared_.visitor.leave(above.fd.get(), done.name.c_str()); error != 0) report(done.name, error);
}

void TreeDescent::goBackTo(Level& level, const Level& below) {
  FileDescriptor found(::openat(below.fd.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const auto status = found.isOpen() ? extendedStatus(found.get(), "") : std::nullopt;
  if (!status) return report({}, errno);
  // Somebody moved the folder away meanwhile; where it is now is none of our business.
  if (status->stx_ino != level.inode || deviceOf(*status) != level.device) return report({}, ESTALE);
  level.fd = std::move(found);
}

void TreeDescent::abandon() {
  while (!levels_.back().fd.isOpen()) {
    waitForHelpers(levels_.back());
    levels_.pop_back();
  }
}

void TreeDescent::share() {
  if (visitedSinceShared_ < worthSharing) return;
  for (size_t depth = 0; depth < levels_.size(); ++depth) {
    if (levels_[depth].folders.size() < 2 || !levels_[depth].fd.isOpen()) continue;
    if (shared_.helpers.fetch_add(1) < mostHelpers()) return startHelper(depth);
    --shared_.helpers;
    return;
  }
}

void TreeDescent::startHelper(size_t depth) {
  Level& level = levels_[depth];
  const auto middle = level.folders.begin() + static_cast<ptrdiff_t>(level.folders.size() / 2);
  FileDescriptor again(::fcntl(level.fd.get(), F_DUPFD_CLOEXEC, 0));
  auto task = [&shared = shared_, path = pathOf(depth), half = std::vector<std::string>(middle, level.folders.end()),
               top = std::move(again)]() mutable {
    TreeDescent(shared, std::move(path), std::move(top), std::move(half)).run();
    --shared.helpers;
  };
  visitedSinceShared_ = 0;
  try {
    level.helpers.push_back(std::async(std::launch::async, std::move(task)));
    level.folders.erase(middle, level.folders.end());
  } catch (const std::system_error&) {
    --shared_.helpers;  // no thread to be had: the work stays here
  }
}

Path TreeDescent::pathOf(size_t depth) const {
  Path path = path_;
  for (size_t level = 1; level <= depth; ++level) path /= levels_[level].name;
  return path;
}

void TreeDescent::report(const std::string& name, int error) const {
  const Path folder = pathOf(levels_.size() - 1);
  shared_.visitor.failed(name.empty() ? folder : folder / name, error);
}

void TreeDescent::waitForHelpers(Level& level) {
  for (std::future<void>& helper : level.helpers) helper.get();
  level.helpers.clear();
}

}  // namespace tavrine
