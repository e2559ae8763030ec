#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"

namespace tavrine {

/// A program that takes the place of a real tool. It notes each run and gives the answers it was told, one a run and
/// the last again and again.
class ScriptedTool final {
 public:
  struct Answer {
    int status = 0;
    std::string output = {};  ///< without an apostrophe
  };

  explicit ScriptedTool(const std::vector<Answer>& answers) {
    std::ofstream script(path());
    script << "#!/bin/sh\ncd \"${0%/*}\"\n{ printf '%s|' \"$@\"; cat; printf '\\036'; } >>log\nprintf x >>count\n"
           << "case $(cat count) in\n";
    std::string run;
    for (const Answer& answer : answers) {
      script << (run += 'x') << (&answer == &answers.back() ? "*" : "") << ") printf %s '" << answer.output
             << "'; exit " << answer.status << ";;\n";
    }
    script << "esac\n";
    std::filesystem::permissions(path(), std::filesystem::perms::owner_all);
  }

  std::filesystem::path path() const { return folder_ / "tool"; }

  /// What was run so far: of each run the arguments, a bar behind each, and then the bytes of its standard input.
  std::vector<std::string> runs() const {
    std::ifstream log(folder_ / "log");
    std::vector<std::string> runs;
    for (std::string run; std::getline(log, run, '\036');) runs.push_back(run);
    return runs;
  }

 private:
  const TemporaryFolder folder_;
};

}  // namespace tavrine
