#include "platform/linux/programs/ditto/item_copy.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "platform/linux/programs/ditto/attributes.h"
#include "platform/linux/programs/ditto/extended_attributes.h"
#include "platform/linux/programs/ditto/file_data.h"

namespace tavrine {
namespace {

constexpr int nameFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;

struct stat statusOf(int fd, Side side) {
  struct stat status {};
  if (::fstat(fd, &status) != 0) fail(side);
  return status;
}

/// Opens the entry's source, which must still be what `status` tells. Never waits, whatever has taken its place.
FileDescriptor openSource(const Entry& entry, int flags, const struct stat& status) {
  FileDescriptor source(::openat(entry.sourceFolder(), entry.sourceName.c_str(), flags));
  if (!source.isOpen() && errno == ELOOP) failChanged();
  if (!source.isOpen()) fail(Side::source);
  const struct stat opened = statusOf(source.get(), Side::source);
  if (opened.st_dev != status.st_dev || opened.st_ino != status.st_ino) failChanged();
  return source;
}

std::string targetOf(int link) {
  for (size_t size = 256;; size *= 2) {
    std::string target(size, '\0');
    const ssize_t length = ::readlinkat(link, "", target.data(), target.size());
    if (length < 0) fail(Side::source);
    if (static_cast<size_t>(length) < size) return target.substr(0, static_cast<size_t>(length));
  }
}

void makeSpecial(const Entry& entry, int source, const struct stat& status) {
  const int folder = entry.destinationFolder();
  const char* name = entry.destinationName.c_str();
  const int result = S_ISLNK(status.st_mode)
                         ? ::symlinkat(targetOf(source).c_str(), folder, name)
                         : ::mknodat(folder, name, (status.st_mode & S_IFMT) | S_IRUSR | S_IWUSR, status.st_rdev);
  if (result != 0) fail(Side::destination);
}

}  // namespace

void ItemCopy::linkBelow(int tree) {
  tree_ = FileDescriptor(::fcntl(tree, F_DUPFD_CLOEXEC, 0));
  if (!tree_.isOpen()) fail(Side::destination);
}

void ItemCopy::copy(const Entry& entry) {
  struct stat status {};
  if (::fstatat(entry.sourceFolder(), entry.sourceName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) fail(Side::source);
  if (S_ISSOCK(status.st_mode)) return messages_.notice(entry.path(Side::source), "is a socket and was left out");
  if (status.st_nlink < 2 || !tree_.isOpen()) return copyAlone(entry, status);
  HardLinks::Claim claim = links_.claim(status);
  if (claim.isFirst()) {
    copyAlone(entry, status);
    return claim.copied(entry.pathInTree());
  }
  const auto copy = claim.waitForCopy();
  if (!copy || !linkToCopy(*copy, entry)) copyAlone(entry, status);
}

void ItemCopy::copyAlone(const Entry& entry, const struct stat& status) {
  if (S_ISREG(status.st_mode)) {
    copyFile(entry, status);
  } else if (S_ISDIR(status.st_mode)) {
    failChanged();  // it was none when it was listed
  } else {
    copySpecial(entry, status);
  }
}

void ItemCopy::copyFile(const Entry& entry, const struct stat& status) {
  const FileDescriptor source = openSource(entry, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, status);
  const struct stat before = statusOf(source.get(), Side::source);
  constexpr int newFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  FileDescriptor destination(
      ::openat(entry.destinationFolder(), entry.destinationName.c_str(), newFile, S_IRUSR | S_IWUSR));
  if (!destination.isOpen()) fail(Side::destination);
  copyFileData(source.get(), destination.get(), before);
  const struct stat after = statusOf(source.get(), Side::source);
  if (isChanged(before, after)) failChanged();
  giveAttributes(entry, OpenItem::opened(source.get()), OpenItem::opened(destination.get()), before);
  // File systems behind a network or a server may tell only now that the data found no room.
  if (!destination.close()) fail(Side::destination);
}

void ItemCopy::copySpecial(const Entry& entry, const struct stat& status) {
  const FileDescriptor source = openSource(entry, nameFlags, status);
  makeSpecial(entry, source.get(), status);
  const FileDescriptor destination(::openat(entry.destinationFolder(), entry.destinationName.c_str(), nameFlags));
  if (!destination.isOpen()) fail(Side::destination);
  const mode_t type = statusOf(destination.get(), Side::destination).st_mode & S_IFMT;
  if (type != (status.st_mode & S_IFMT)) throw CopyError(Side::destination, "was replaced while it was copied");
  giveAttributes(entry, OpenItem::named(source.get()), OpenItem::named(destination.get()), status);
}

void ItemCopy::giveAttributes(const Entry& entry, const OpenItem& from, const OpenItem& to, const struct stat& status) {
  if (entry.mayInherit()) removeAccessControlLists(to);
  const std::string_view notice = copyAttributes(from, to, status);
  if (!notice.empty()) messages_.notice(entry.path(Side::destination), notice);
}

bool ItemCopy::linkToCopy(const std::string& path, const Entry& entry) const {
  FileDescriptor folder;
  size_t start = 0;
  for (size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', start)) {
    const std::string name = path.substr(start, slash - start);
    folder =
        FileDescriptor(::openat(folder.isOpen() ? folder.get() : tree_.get(), name.c_str(), nameFlags | O_DIRECTORY));
    if (!folder.isOpen()) return false;
    start = slash + 1;
  }
  const int from = folder.isOpen() ? folder.get() : tree_.get();
  return ::linkat(from, path.c_str() + start, entry.destinationFolder(), entry.destinationName.c_str(), 0) == 0;
}

}  // namespace tavrine
