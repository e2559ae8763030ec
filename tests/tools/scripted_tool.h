#pragma once

#include <string>
#include <vector>

#include "tests/temporary_folder.h"

namespace tavrine {

/// A program that takes the place of a real tool. It notes the arguments and the standard input of each run and gives
/// the answers it was told, one a run and the last again and again.
class ScriptedTool final {
 public:
  struct Answer {
    int status = 0;
    std::string output = {};
  };

  struct Call {
    std::vector<std::string> arguments;
    std::string input;
    bool operator==(const Call&) const = default;
  };

  explicit ScriptedTool(const std::vector<Answer>& answers);

  std::filesystem::path path() const { return folder_ / "tool"; }

  /// What was run so far.
  std::vector<Call> runs() const;

 private:
  const TemporaryFolder folder_;
};

}  // namespace tavrine
