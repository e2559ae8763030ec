#include "tests/gates/source_tree.h"

#include <set>
#include <sstream>

#include "platform/file_manager.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

const fs::path root = TAVRINE_SOURCE_DIR;

bool isForeign(const fs::path& folder) {
  return folder.filename() == "build" || folder.filename() == ".git";
}

}  // namespace

std::vector<std::string> SourceFile::lines() const {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

bool SourceFile::isForTests() const {
  return path.starts_with("tests/") || path.starts_with("fuzz/") || path.starts_with("bench/");
}

std::vector<SourceFile> sourceTree() {
  std::vector<SourceFile> files;
  for (fs::recursive_directory_iterator entry(root), end; entry != end; ++entry) {
    if (entry->is_directory() && isForeign(entry->path())) entry.disable_recursion_pending();
    static const std::set<std::string> extensions = {".h", ".hh", ".hpp", ".c", ".cc", ".cpp", ".cxx"};
    if (!entry->is_regular_file() || !extensions.contains(entry->path().extension())) continue;
    files.push_back({entry->path().lexically_relative(root), readFile(entry->path())});
  }
  return files;
}

std::string projectFile(const std::string& path) {
  return readFile(root / path);
}

}  // namespace tavrine
