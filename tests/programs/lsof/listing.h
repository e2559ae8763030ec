#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// What a lister printed: for each process its command and its files, each as "DESCRIPTOR ACCESS".
struct Listing {
  struct Entry {
    std::string command;
    std::multiset<std::string> files;
  };

  int status = 0;
  std::string text;
  std::map<int, Entry> processes;

  /// The files of one process; none where it is not listed.
  std::multiset<std::string> filesOf(int pid) const;
};

/// Our lister on PATH with all below it; on PATH alone. Only standard output is taken, and standard error has to be
/// empty.
Listing listedTree(const Path& path);
Listing listedFile(const Path& path);

/// Our lister with any arguments, both streams read as one.
Listing listed(const std::vector<std::string>& arguments);

/// Runs a shell script, in which "$LSOF" is our lister.
Listing listedBy(const std::string& script, const std::vector<std::string>& arguments);

/// Debian's lister; whether it is here.
inline constexpr const char* judge = "/usr/bin/lsof";
bool hasJudge();

/// The files of a process that are named within `tree`, as the judge tells. It calls a deleted mapping DEL; here it is
/// mem.
std::multiset<std::string> judgedFiles(int pid, const Path& tree);

}  // namespace tavrine
