#include "tests/tools/scripted_tool.h"

#include <fstream>
#include <sstream>

namespace tavrine {
namespace {

namespace fs = std::filesystem;

constexpr const char* script = R"sh(#!/bin/sh
cd "${0%/*}" || exit 99
run=1
while [ -e "$run.arguments" ]; do run=$((run + 1)); done
for argument; do printf '%s\0' "$argument"; done >"$run.arguments"
cat >"$run.input"
answer=$run
while [ ! -e "$answer.output" ]; do answer=$((answer - 1)); done
cat "$answer.output"
exit "$(cat "$answer.status")"
)sh";

std::string content(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace

ScriptedTool::ScriptedTool(const std::vector<Answer>& answers) {
  for (size_t index = 0; index < answers.size(); ++index) {
    const std::string number = std::to_string(index + 1);
    std::ofstream(folder_ / (number + ".output"), std::ios::binary) << answers[index].output;
    std::ofstream(folder_ / (number + ".status")) << answers[index].status;
  }
  std::ofstream(path()) << script;
  fs::permissions(path(), fs::perms::owner_all);
}

std::vector<ScriptedTool::Call> ScriptedTool::runs() const {
  std::vector<Call> runs;
  for (int run = 1; fs::exists(folder_ / (std::to_string(run) + ".arguments")); ++run) {
    const fs::path stem = folder_ / std::to_string(run);
    std::istringstream arguments(content(stem.string() + ".arguments"));
    Call& noted = runs.emplace_back(Call{{}, content(stem.string() + ".input")});
    for (std::string argument; std::getline(arguments, argument, '\0');) noted.arguments.push_back(argument);
  }
  return runs;
}

}  // namespace tavrine
