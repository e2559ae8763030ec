#pragma once

#include <unistd.h>

#include <utility>

namespace tavrine {

/// Owns an open file descriptor; closes it on destruction. Not shared between threads.
class FileDescriptor final {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) (void)::close(fd_);  // nothing was written that a failed close could lose: writers close by `close`
  }

  bool isOpen() const { return fd_ >= 0; }
  int get() const { return fd_; }

  /// Gives the descriptor to another owner.
  int release() { return std::exchange(fd_, -1); }

  /// Closes now and tells whether that went well; errno says why not.
  bool close() { return ::close(std::exchange(fd_, -1)) == 0; }

 private:
  int fd_ = -1;
};

}  // namespace tavrine
