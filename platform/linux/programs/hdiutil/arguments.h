#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// What the command line asks for, checked: the verb is one of the program's, every option belongs to it and stands
/// there once, what it needs is there, and values that can only be one thing are that.
struct Arguments {
  std::string verb;
  std::map<std::string, std::string, std::less<>> options;  ///< name with its hyphen → value, empty for a switch
  Path path;  ///< the verb's image or mount point, absolute; empty where it has none

  bool has(std::string_view option) const { return options.contains(option); }
};

/// Throws `ToolError` for anything the program does not understand.
Arguments parseArguments(const std::vector<std::string>& words);

/// What `--help` prints.
std::string_view helpText();

}  // namespace tavrine
