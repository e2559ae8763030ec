#pragma once

#include <sys/stat.h>

#include <atomic>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <vector>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/programs/ditto/entry.h"

namespace tavrine {

/// A name in a folder and, where the file system tells it there, whether it is a folder itself.
struct Listed {
  std::string name;
  std::optional<bool> isFolder;
};

/// A folder of the source and its copy, both open. The walk alone lists, closes and reopens it; the threads that copy
/// its entries use its descriptors and take part in the count of work.
class Folder final {
 public:
  /// How many folders may be open at a time; opening one more waits.
  using Slots = std::counting_semaphore<>;

  /// Opens the source folder and makes its copy, 0700 for now; a folder that is there is taken as it is. Links are
  /// followed on neither side. `top` is the first folder of the tree, null when this is it: its copy is no source.
  /// Throws `CopyError`.
  static std::shared_ptr<Folder> open(const Entry& entry, Slots& slots, const Folder* top);

  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { close(); }

  const Entry& entry() const { return entry_; }
  int source() const { return source_.get(); }
  int destination() const { return destination_.get(); }

  /// What the source was before anything in it was read.
  const struct stat& status() const { return status_; }

  /// Whether the copy was made by us.
  bool isNew() const { return isNew_; }

  /// The next name, in the file system's order. Throws `CopyError`.
  std::optional<Listed> next();

  /// Closes both sides, keeping the names that are still to come.
  void suspend();

  /// Opens both sides again, as the parents of an open `child`. Throws `CopyError` when they are no longer its parents.
  void resume(const Folder& child);

  /// Closes both sides. Called when the last work has ended, by whoever ended it.
  void close();

  /// The walk counts as one piece of work, each entry that was handed out as another.
  void addWork() { ++work_; }

  /// Whether that was the last piece.
  bool endWork() { return --work_ == 0; }

 private:
  Folder(const Entry& entry, Slots& slots) : entry_(entry), slots_(slots) {}
  void takeSlot();
  void refuseCopyOf(const Folder& top) const;
  void openSource();
  void openDestination();
  std::optional<Listed> read();
  bool fillBuffer();

  const Entry entry_;
  Slots& slots_;
  bool hasSlot_ = false;
  FileDescriptor source_;
  FileDescriptor destination_;
  std::vector<char> buffer_;  ///< the part of the listing that was read last
  size_t position_ = 0;       ///< in the buffer
  bool isListed_ = false;
  std::vector<Listed> kept_;  ///< names read ahead by `suspend`
  struct stat status_ {};
  struct stat copyStatus_ {};
  bool isNew_ = false;
  std::atomic<size_t> work_ = 1;
};

}  // namespace tavrine
