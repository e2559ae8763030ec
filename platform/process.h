#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// A one-way channel of bytes between this process and a child. Owns its two ends, none of which a child inherits by
/// itself. The two ends may be used by two threads at once, one end by one thread at a time.
class Pipe final {
 public:
  /// Throws `std::system_error`.
  Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe();

  /// Everything that comes until nobody holds the other end any more; waits without limit. What a read error cuts off
  /// is missing.
  std::string readToEnd();

  /// Waits until all bytes are in. Whether they went in: false once nobody holds the other end.
  bool write(std::string_view bytes);

  void closeReadEnd();
  void closeWriteEnd();

 private:
  friend class ChildProcess;

  int readEnd_ = -1;
  int writeEnd_ = -1;
};

/// A child process of its own process group, so that Ctrl-C in the terminal does not reach it. It gets three streams
/// and no other descriptor, the default disposition of every signal and none blocked; environment and working directory
/// are the caller's. Belongs to the thread that started it: a child may ask to die with that thread. Destroying a child
/// that still runs asks it to terminate and waits for its end.
class ChildProcess final {
 public:
  struct Launch {
    Path executable;                     ///< absolute
    std::vector<std::string> arguments;  ///< what follows the program's name, unchanged
    Pipe& input;                         ///< its read end becomes the standard input
    Pipe& output;                        ///< its write end becomes standard output and standard error
  };

  /// Starts the child and closes the ends that are the child's, also when that fails. The failure is a
  /// `std::filesystem::filesystem_error` (a `std::system_error`) with the executable's path.
  explicit ChildProcess(const Launch& launch);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  bool isRunning();

  /// Returns after `limit`, earlier when the child ends or a signal arrives.
  void waitAtMost(std::chrono::milliseconds limit) const;

  /// Asks the child to end (SIGTERM). Nothing happens to one that has ended.
  void terminate();

  /// Waits for the end, without limit. The exit code, or the number of the signal that ended it. Throws
  /// `std::system_error` when the system does not tell.
  int32_t waitForExit();

 private:
  int32_t pid_;
  int watch_;  ///< a descriptor that becomes readable when the child ends; -1 where the kernel has none
  std::optional<int32_t> status_;
};

/// The bytes that this process and its ended children have read so far, from wherever; 0 where the kernel does not
/// tell.
int64_t bytesReadSoFar();

/// From now on, writing to a pipe that nobody reads fails instead of ending this process.
void ignoreBrokenPipes();

/// The path of the program that a process runs, as the kernel tells it; nothing for a process that is gone, out of
/// reach or part of the kernel.
std::optional<Path> executableOfProcess(int32_t pid);

}  // namespace tavrine
