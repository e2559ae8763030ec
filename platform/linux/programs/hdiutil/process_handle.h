#pragma once

#include <sys/types.h>

#include <chrono>

#include "platform/linux/file_descriptor.h"

namespace tavrine {

/// A process held so that its number cannot come to mean another one. A process that has ended is none any more.
class ProcessHandle final {
 public:
  explicit ProcessHandle(pid_t pid);

  bool isOpen() const { return handle_.isOpen(); }
  pid_t pid() const { return pid_; }

  /// Whether the process has ended, waiting for it up to `limit`.
  bool hasEnded(std::chrono::milliseconds limit) const;

  /// A copy of one of the process's descriptors; not open where the system does not give it.
  FileDescriptor descriptor(int number) const;

  void kill() const;

  /// Ends the process at once, but not inside a system call, so that no disk write is cut off in its middle.
  void killBetweenCalls() const;

 private:
  void send(int signal) const;

  pid_t pid_;
  FileDescriptor handle_;
};

}  // namespace tavrine
