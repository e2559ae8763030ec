#pragma once

#include <string>
#include <vector>

namespace tavrine {

/// One thing by which a process holds a file.
struct HeldFile {
  std::string descriptor;  ///< a number, or "cwd", "rtd" (root folder), "txt" (running program), "mem" (mapped)
  char access = ' ';       ///< 'r', 'w', 'u' (both), or a space where the holding gives neither
};

/// A process and what it holds of the files asked for.
struct Holder {
  int pid = 0;
  std::string command;
  std::vector<HeldFile> files;
};

/// The holder as lines for programs: p, c, then f and a for each file.
std::string fieldLines(const Holder& holder);

}  // namespace tavrine
