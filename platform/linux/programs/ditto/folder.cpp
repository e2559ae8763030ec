#include "platform/linux/programs/ditto/folder.h"

#include <dirent.h>
#include <fcntl.h>

#include <string_view>
#include <utility>

#include "platform/linux/programs/ditto/extended_attributes.h"

namespace tavrine {
namespace {

constexpr size_t listingBytes = 32UL * 1024;
constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool isSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

FileDescriptor openParent(int child, const struct stat& expected, Side side) {
  FileDescriptor parent(::openat(child, "..", folderFlags));
  struct stat status {};
  if (!parent.isOpen() || ::fstat(parent.get(), &status) != 0) fail(side);
  if (!isSame(status, expected)) throw CopyError(side, "was moved while it was copied");
  return parent;
}

std::optional<bool> isFolder(unsigned char type) {
  if (type == DT_UNKNOWN) return std::nullopt;
  return type == DT_DIR;
}

}  // namespace

std::shared_ptr<Folder> Folder::open(const Entry& entry, Slots& slots, const Folder* top) {
  std::shared_ptr<Folder> folder(new Folder(entry, slots));
  folder->takeSlot();
  folder->openSource();
  if (top != nullptr) folder->refuseCopyOf(*top);
  folder->openDestination();
  if (top == nullptr) folder->refuseCopyOf(*folder);
  return folder;
}

void Folder::takeSlot() {
  slots_.acquire();
  hasSlot_ = true;
}

void Folder::refuseCopyOf(const Folder& top) const {
  if (isSame(status_, top.copyStatus_)) throw CopyError(Side::source, "a folder cannot be copied into itself");
}

void Folder::openSource() {
  source_ = FileDescriptor(::openat(entry_.sourceFolder(), entry_.sourceName.c_str(), folderFlags));
  if (!source_.isOpen() || ::fstat(source_.get(), &status_) != 0) fail(Side::source);
}

void Folder::openDestination() {
  const char* name = entry_.destinationName.c_str();
  isNew_ = ::mkdirat(entry_.destinationFolder(), name, S_IRWXU) == 0;
  if (!isNew_ && errno != EEXIST) fail(Side::destination);
  destination_ = FileDescriptor(::openat(entry_.destinationFolder(), name, folderFlags));
  if (!destination_.isOpen()) {
    const bool isOther = !isNew_ && (errno == ENOTDIR || errno == ELOOP);
    throw CopyError(Side::destination, isOther ? EEXIST : errno);
  }
  if (::fstat(destination_.get(), &copyStatus_) != 0) fail(Side::destination);
  // At once, before anything made in it could inherit in turn.
  if (isNew_ && entry_.mayInherit()) removeAccessControlLists(OpenItem::opened(destination_.get()));
}

std::optional<Listed> Folder::next() {
  if (kept_.empty()) return read();
  Listed last = std::move(kept_.back());
  kept_.pop_back();
  return last;
}

std::optional<Listed> Folder::read() {
  while (position_ < buffer_.size() || fillBuffer()) {
    const auto* found = reinterpret_cast<const struct dirent64*>(buffer_.data() + position_);
    position_ += found->d_reclen;
    const std::string_view name = found->d_name;
    if (name != "." && name != "..") return Listed{std::string(name), isFolder(found->d_type)};
  }
  return std::nullopt;
}

bool Folder::fillBuffer() {
  if (isListed_) return false;
  buffer_.resize(listingBytes);
  position_ = 0;
  const ssize_t count = ::getdents64(source_.get(), buffer_.data(), buffer_.size());
  buffer_.resize(count > 0 ? static_cast<size_t>(count) : 0);
  isListed_ = count <= 0;  // also after an error: there is no reading on behind it
  if (count < 0) fail(Side::source);
  return count > 0;
}

void Folder::suspend() {
  while (auto listed = read()) kept_.push_back(std::move(*listed));
  close();
}

void Folder::resume(const Folder& child) {
  takeSlot();
  source_ = openParent(child.source(), status_, Side::source);
  destination_ = openParent(child.destination(), copyStatus_, Side::destination);
}

void Folder::close() {
  source_ = FileDescriptor();
  destination_ = FileDescriptor();
  buffer_ = {};
  position_ = 0;
  if (hasSlot_) slots_.release();
  hasSlot_ = false;
}

}  // namespace tavrine
