#pragma once

#include <optional>

#include "platform/paths.h"

namespace tavrine {

/// An advisory, exclusive lock on a file, held until this object ends, and by no child. A second lock on the same file
/// fails in this process as in any other. The system releases it when the process dies. The file stays.
class LockFile final {
 public:
  /// Creates the file (0600) when missing. Never waits: nothing when the lock is held elsewhere or the file cannot be
  /// opened.
  static std::optional<LockFile> acquire(const Path& file);

  LockFile(LockFile&& other) noexcept;
  LockFile& operator=(LockFile&&) = delete;
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;
  ~LockFile();

 private:
  explicit LockFile(int fd) : fd_(fd) {}

  int fd_;
};

}  // namespace tavrine
