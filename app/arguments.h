#pragma once

#include <string>
#include <vector>

namespace tavrine {

/// The words of a command line behind the program's name, parted at the first "--": what may be options and paths, and
/// what is a path whatever it looks like.
struct Arguments {
  std::vector<std::string> parsed;
  std::vector<std::string> verbatim;

  static Arguments split(int argc, const char* const* argv);
};

}  // namespace tavrine
