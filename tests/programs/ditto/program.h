#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace tavrine {

/// How a program ended and what it said.
struct Outcome {
  int status = 0;  ///< the exit code, or minus the signal
  std::string output;
  long peakKiB = 0;  ///< the memory it had at most
};

/// A child process, its standard output and error read as one. Killed when the test leaves it running.
class Program final {
 public:
  /// What the child does to itself before it becomes the program; false ends it with `notPrepared`.
  using Preparation = std::function<bool()>;
  static constexpr int notPrepared = 77;

  explicit Program(std::vector<std::string> arguments, const Preparation& prepare = {});
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  pid_t pid() const { return pid_; }
  bool hasEnded() const;

  /// Sends a signal; returns when the child is stopped by it (SIGSTOP) or has been sent it (others).
  void signal(int number) const;

  Outcome wait();

 private:
  pid_t pid_ = -1;
  int output_ = -1;
};

/// Runs a program to its end.
Outcome run(std::vector<std::string> arguments, const Program::Preparation& prepare = {});

/// Makes a child of root an ordinary user; any other child is one already.
bool becomeOrdinaryUser();

/// Lets the child open no more than `files` files.
Program::Preparation limitedTo(unsigned files);

/// Gives the child a mount table of its own with an empty file system of this type at `folder`; it is gone with the
/// child.
Program::Preparation mounted(std::string folder, std::string type, std::string options = "");

}  // namespace tavrine
