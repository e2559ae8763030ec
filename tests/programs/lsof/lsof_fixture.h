#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "kit/tools/process_runner.h"
#include "platform/system.h"
#include "tests/holding_process.h"
#include "tests/temporary_folder.h"

namespace tavrine {

using Texts = std::vector<std::string>;

inline void require(bool condition) {
  if (!condition) throw std::runtime_error("cannot hold it");
}

/// Opened as a certain descriptor, so that the lines to come are known.
inline void openAs(int number, const Path& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CREAT * ((flags & O_ACCMODE) != O_RDONLY), 0600);
  require(fd >= 0 && ::dup2(fd, number) == number && ::close(fd) == 0);
}

/// The files of one process in a lister's field output, sorted, each as "DESCRIPTOR ACCESS"; where the output has
/// names, those within `tree`. Debian's lister calls a deleted mapping DEL; here it is mem.
inline Texts filesOf(int pid, const std::string& output, const Path& tree = {}) {
  std::istringstream lines(output);
  Texts files;
  bool isWanted = false;
  for (std::string line; std::getline(lines, line);) {
    const std::string rest = line == "fDEL" ? "mem" : line.substr(1);
    if (line[0] == 'p') isWanted = rest == std::to_string(pid);
    if (isWanted && line[0] == 'f') files.push_back(rest);
    if (isWanted && line[0] == 'a') files.back() += " " + rest;
    if (isWanted && line[0] == 'n' && !(rest + "/").starts_with(tree.string() + "/")) files.pop_back();
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// A folder with a tree to hold files of.
class LsofFixture : public testing::Test {
 protected:
  LsofFixture() {
    std::filesystem::create_directories(tree_ / "sub");
    std::filesystem::create_directory(scratch_ / "alias");
    std::ofstream(tree_ / "f") << "content";
  }

  /// What our lister prints of the tree at `path`.
  static std::string listedTree(const Path& path) { return listed({"-F", "pcfa", "+D", path.string()}); }

  /// What it prints with any arguments, and nothing on standard error.
  static std::string listed(const Texts& arguments) {
    const ProcessResult result = ProcessRunner::run(toolPath("lsof"), arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output.find("lsof: "), std::string::npos) << result.output;
    return result.output;
  }

  /// Runs a shell script in the folder of the tree, in which "$LSOF" is our lister.
  ProcessResult shell(const std::string& script) const {
    return ProcessRunner::run("/bin/sh",
                              {"-c", "export LSOF=$0; cd \"$1\"; " + script, toolPath("lsof"), scratch_.path()});
  }

  const TemporaryFolder scratch_;
  const Path tree_ = scratch_ / "tree";
};

}  // namespace tavrine
