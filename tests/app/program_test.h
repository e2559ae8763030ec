#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/paths.h"
#include "tests/temporary_folder.h"

namespace tavrine {

/// The real program, installed in a folder of the test with the fake image tool, and a home of its own. It has no
/// terminal.
class Program : public testing::Test {
 protected:
  Program();

  /// Runs it to its end; its exit code. What it wrote is in `out_` and `error_`.
  int run(const std::vector<std::string>& arguments) { return wait(start(arguments)); }

  /// The same with the password that all items of the test have.
  int runWithPassword(std::vector<std::string> arguments);

  pid_t start(const std::vector<std::string>& arguments) const;
  int wait(pid_t program);

  /// A file or folder in the home.
  Path home(const std::string& name) const { return folder_ / "home" / name; }
  Path write(const std::string& name, const std::string& text) const;

  /// The next run of that verb of the image tool ends with `status` and `message`.
  void failImageTool(const std::string& line) const;

  /// Puts a shell script in a tool's place.
  void replaceTool(const std::string& name, const std::string& script) const;

  std::vector<std::string> unlockedPaths() const;

  const TemporaryFolder folder_;
  std::string out_;
  std::string error_;
};

}  // namespace tavrine
