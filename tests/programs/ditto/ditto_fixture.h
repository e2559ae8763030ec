#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "kit/tools/process_runner.h"
#include "platform/system.h"
#include "tests/temporary_folder.h"

namespace tavrine {

/// How a script ended, and all that was printed.
using Outcome = std::pair<int, std::string>;

/// A folder with a folder "source" in it. Shell scripts run in it, in which "$0" is our copier; whatever else they need
/// is in their text.
class DittoFixture : public testing::Test {
 protected:
  /// Prints what differs between "source" and "copy": contents and everything they carry.
  static constexpr const char* judge =
      "rsync -aHAXn --checksum --modify-window=-1 --itemize-changes --delete source/ copy/";
  static inline const Outcome success = {0, ""};

  DittoFixture() { std::filesystem::create_directory(folder_ / "source"); }

  // Not left to the standard library, which opens a file for every level of a deep tree.
  ~DittoFixture() override { EXPECT_EQ(shell("rm -rf source copy"), success); }

  Outcome shell(const std::string& script) const { return run({}, script); }

  /// Runs the script as an ordinary user.
  Outcome ordinary(const std::string& script) const { return run(isRoot() ? becomeOrdinary : Texts(), script); }

  /// Gives the folder to that user; why he cannot work in it, if so.
  std::string giveToOrdinary() const {
    if (isRoot()) (void)shell("chown 65534:65534 . source");
    return ordinary("test -x \"$0\" -a -w .") == success ? "" : "an ordinary user cannot work in the build folder";
  }

  static bool isRoot() { return ::geteuid() == 0; }

  const TemporaryFolder folder_;

 private:
  using Texts = std::vector<std::string>;
  static inline const Texts becomeOrdinary = {"--reuid=65534", "--regid=65534", "--clear-groups"};

  Outcome run(Texts arguments, const std::string& script) const {
    arguments.insert(arguments.end(), {"/bin/sh", "-c", "cd \"$1\"; " + script, toolPath("ditto"), folder_.path()});
    const ProcessResult result = ProcessRunner::run("/usr/bin/setpriv", arguments, {.timeoutSeconds = 120});
    return {result.status, result.output};
  }
};

}  // namespace tavrine
