#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

#include "tests/gates/source_tree.h"

namespace tavrine {
namespace {

/// Each layer's folder and the folders it may include from.
using Layers = std::map<std::string, std::set<std::string>>;

/// The order as ARCHITECTURE.md states it, in its block "```layers".
Layers layersOf(const std::string& document) {
  Layers layers;
  std::smatch block;
  if (!std::regex_search(document, block, std::regex("```layers\n([^`]*)```"))) return layers;
  std::istringstream lines(block[1].str());
  for (std::string line; std::getline(lines, line);) {
    const size_t colon = line.find(':');
    std::istringstream words(line.substr(colon + 1));
    std::set<std::string>& below = layers[line.substr(0, colon)];
    for (std::string word; words >> word;) below.insert(word);
  }
  return layers;
}

/// The layer a path belongs to: the longest folder named that it lies below.
std::optional<std::string> layerOf(const std::string& path, const Layers& layers) {
  std::optional<std::string> longest;
  for (const auto& [folder, below] : layers) {
    if (path.starts_with(folder + "/") && (!longest || folder.size() > longest->size())) longest = folder;
  }
  return longest;
}

std::vector<std::string> upwardIncludes(const SourceFile& file, const Layers& layers) {
  std::vector<std::string> found;
  const auto layer = layerOf(file.path, layers);
  if (!layer) return found;
  static const std::regex include("^\\s*#\\s*include\\s+(?:\"([^\"]+)\"|<((?:app|finder|kit|platform)/[^>]+)>).*");
  for (const std::string& line : file.lines()) {
    std::smatch match;
    if (!std::regex_match(line, match, include)) continue;
    const auto target = layerOf(match[1].matched ? match[1] : match[2], layers);
    if (!target || (*target != *layer && !layers.at(*layer).contains(*target)))
      found.push_back(file.path + ": " + line);
  }
  return found;
}

TEST(Layers, NoFileIncludesFromAHigherLayer) {
  const Layers layers = layersOf(projectFile("ARCHITECTURE.md"));
  ASSERT_GE(layers.size(), 10u) << "ARCHITECTURE.md states the layers";
  std::vector<std::string> found;
  for (const SourceFile& file : sourceTree()) {
    for (std::string& include : upwardIncludes(file, layers)) found.push_back(std::move(include));
  }
  EXPECT_EQ(found, std::vector<std::string>());
}

TEST(Layers, EverySourceFolderIsALayer) {
  const Layers layers = layersOf(projectFile("ARCHITECTURE.md"));
  for (const SourceFile& file : sourceTree()) {
    EXPECT_TRUE(file.isForTests() || layerOf(file.path, layers)) << file.path;
  }
}

TEST(Layers, TheGateClosesOnAnUpwardInclude) {
  const Layers layers =
      layersOf("```layers\nfloor:\nfloor/inner: floor\nmiddle: floor\ntop: middle floor\nkit:\napp: kit\n```");
  const auto violations = [&layers](const std::string& path, const std::string& include) {
    return upwardIncludes({path, "// \"top/c.h\"\n#include " + include + "\n"}, layers).size();
  };
  EXPECT_EQ(violations("top/a.cpp", "\"floor/b.h\""), 0u);
  EXPECT_EQ(violations("middle/a.cpp", "\"middle/b.h\""), 0u);
  EXPECT_EQ(violations("middle/a.cpp", "\"top/b.h\""), 1u);
  EXPECT_EQ(violations("floor/a.h", "\"middle/b.h\""), 1u);
  EXPECT_EQ(violations("middle/a.cpp", "\"floor/inner/b.h\""), 1u) << "an inner folder is a layer of its own";
  EXPECT_EQ(violations("kit/a.cpp", "<app/b.h>"), 1u) << "in angle brackets";
  EXPECT_EQ(violations("middle/a.cpp", "\"b.h\""), 1u) << "not by its full path";
}

}  // namespace
}  // namespace tavrine
