#include "platform/paths.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace tavrine {
namespace {

std::optional<std::string> resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> text(::realpath(path.c_str(), nullptr), &std::free);
  if (!text) return std::nullopt;
  return std::string(text.get());
}

/// Where `path` has slashes behind its first character: its leading parts end there.
std::vector<size_t> partEnds(const std::string& path) {
  std::vector<size_t> ends;
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    ends.push_back(slash);
  }
  return ends;
}

/// `path` with its longest leading part that resolves replaced by what it resolves to, then standardised.
Path resolvedAsFarAsPossible(const std::string& path) {
  if (const auto whole = resolved(path)) return *whole;
  const std::vector<size_t> ends = partEnds(path);
  // Where a part resolves, every shorter one does, so the longest is found by halving.
  const auto resolves = [&path](size_t end) { return resolved(path.substr(0, end)).has_value(); };
  const auto beyond = std::partition_point(ends.begin(), ends.end(), resolves);
  if (beyond == ends.begin()) return standardizedPath(path);
  const size_t end = *std::prev(beyond);
  // Joined as text: a rest that begins with a second slash would replace the ancestor if joined as a path.
  return standardizedPath(resolved(path.substr(0, end)).value_or(path.substr(0, end)) + path.substr(end));
}

/// The name's length up to the dot of its extension; npos where it has none.
size_t extensionDot(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot + 1 == name.size()) return std::string_view::npos;
  if (dot == 0 || name.find(' ', dot) != std::string_view::npos) return std::string_view::npos;
  return dot;
}

}  // namespace

Path withoutSlashAtEnd(const Path& path) {
  std::string text = path.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

Path standardizedPath(const Path& path) {
  return withoutSlashAtEnd(path.lexically_normal());
}

Path realPath(const Path& path) {
  return resolvedAsFarAsPossible(standardizedPath(path).string());
}

std::string canonicalPath(const Path& path) {
  return resolvedAsFarAsPossible(path.string()).string();
}

std::string lastComponent(const Path& path) {
  std::string text = withoutSlashAtEnd(path).string();
  const size_t slash = text.rfind('/');
  if (slash == std::string::npos || text.size() == 1) return text;
  return text.substr(slash + 1);
}

std::string pathExtension(const Path& path) {
  const std::string name = lastComponent(path);
  const size_t dot = extensionDot(name);
  return dot == std::string::npos ? "" : name.substr(dot + 1);
}

std::string nameWithoutExtension(const Path& path) {
  const std::string name = lastComponent(path);
  return name.substr(0, extensionDot(name));
}

}  // namespace tavrine
