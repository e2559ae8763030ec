#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tavrine {

/// A file of the project, its path relative to the project's root.
struct SourceFile {
  std::string path;
  std::string text;

  std::vector<std::string> lines() const;
  bool isForTests() const;  ///< the layers do not bind it
};

/// The project's C++ files, without what a build made.
std::vector<SourceFile> sourceTree();

/// The text of one file of the project.
std::string projectFile(const std::string& path);

}  // namespace tavrine
