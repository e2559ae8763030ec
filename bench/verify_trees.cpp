#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "kit/engine/locker.h"
#include "kit/engine/tree_verifier.h"

namespace {

/// The most memory this process has used so far, in KiB; 0 where the system does not say.
long peakKibibytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
  }
  return 0;
}

}  // namespace

/// verify_trees REFERENCE COPY: takes a snapshot of the first and compares both, as a lock does. Prints the number of
/// differences and of items, and the peak of its memory.
int main(int argc, char** argv) {
  if (argc != 3) return 2;
  try {
    const auto snapshot = tavrine::Locker::metadataSnapshot(argv[1]);
    const auto mismatches = tavrine::TreeVerifier::compare(argv[1], argv[2], {});
    std::cout << mismatches.size() << " differences, " << snapshot.size() << " items, " << peakKibibytes() << " KiB\n";
    return mismatches.empty() ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 2;
  }
}
