#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/file_descriptor.h"

namespace tavrine {

/// How a child is started. It has the default disposition of every signal, none blocked, and no descriptor but those
/// given.
struct Launch {
  enum class Life {
    withStarter,  ///< killed when this process ends
    ofItsOwn,     ///< outlives this process, without its terminal and in the root folder
  };

  std::string program;               ///< looked up in PATH unless it holds a slash
  std::vector<std::string> command;  ///< what the child sees as its argument vector, name first
  std::vector<int> descriptors;      ///< descriptor n of the child is the n-th of these
  Life life = Life::withStarter;
};

/// Starts the child and returns its process identifier. Where the program cannot be run the child says so on its
/// standard error and ends with 127. Throws `ToolError` where no process can be made.
pid_t startChild(const Launch& launch);

/// Waits for the child's end and returns its wait status.
int waitForChild(pid_t pid);

/// The reading end of a pipe that holds `text` and nothing more. `text` has to fit a pipe at once (64 KiB).
FileDescriptor pipeHolding(std::string_view text);

FileDescriptor nullDevice();

/// Takes what a child prints: in memory, so that nobody has to read along and nobody's end is ever closed under the
/// child.
class OutputBuffer final {
 public:
  OutputBuffer();

  int descriptor() const { return file_.get(); }

  std::string text() const;

  /// From now on nothing more is taken: a write to it fails without harm to the writer.
  void close() const;

 private:
  FileDescriptor file_;
};

}  // namespace tavrine
