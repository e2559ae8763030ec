#include "kit/engine/tree_verifier.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "kit/engine/tree_content.h"
#include "kit/engine/tree_scan.h"

namespace tavrine {
namespace {

using Entry = TreeVerifier::Entry;

template <typename... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};

Entry entryOf(Content content) {
  return std::visit(
      Overloaded{
          [](FileContent& file) -> Entry {
            return TreeVerifier::File{file.size, Sha256::hexadecimal(file.digest)};
          },
          [](LinkContent& link) -> Entry { return TreeVerifier::Symlink{std::move(link.target)}; },
          [](SpecialContent& special) -> Entry { return TreeVerifier::Other{std::string(typeName(special.type))}; },
          [](FolderContent&) -> Entry { return TreeVerifier::Directory{}; },
      },
      content);
}

/// How a copy differs from what it is a copy of; nothing where it does not.
std::optional<std::string_view> difference(const Content& reference, const Content& copy) {
  if (reference == copy) return std::nullopt;
  const auto* const file = std::get_if<FileContent>(&reference);
  const auto* const copiedFile = std::get_if<FileContent>(&copy);
  if (file != nullptr && copiedFile != nullptr) {
    return file->size != copiedFile->size ? "size differs" : "content differs";
  }
  const bool areLinks = std::holds_alternative<LinkContent>(reference) && std::holds_alternative<LinkContent>(copy);
  return areLinks ? "link target differs" : "type differs";
}

/// By the bytes of the paths, which is by code points where they are UTF-8.
void sortByPath(TreeItems& items) {
  std::sort(items.begin(), items.end(), [](const auto& one, const auto& other) { return one.path < other.path; });
}

/// A root stands alone where the other one is a folder, which has no item of its own.
TreeMismatch lonely(const TreeItem& item, const char* reason) {
  return {item.path, item.path.empty() ? "type differs" : reason};
}

std::vector<TreeMismatch> differences(const TreeItems& reference, const TreeItems& copy) {
  std::vector<TreeMismatch> mismatches;
  auto expected = reference.begin();
  auto found = copy.begin();
  while (expected != reference.end() || found != copy.end()) {
    const bool isMissing = found == copy.end() || (expected != reference.end() && expected->path < found->path);
    const bool isExtra = expected == reference.end() || (found != copy.end() && found->path < expected->path);
    if (isMissing) {
      mismatches.push_back(lonely(*expected++, "missing from copy"));
    } else if (isExtra) {
      mismatches.push_back(lonely(*found++, "extra in copy"));
    } else {
      if (const auto reason = difference(expected->content, found->content)) {
        mismatches.push_back({expected->path, std::string(*reason)});
      }
      ++expected;
      ++found;
    }
  }
  return mismatches;
}

}  // namespace

std::vector<TreeMismatch> TreeVerifier::compare(const Path& reference, const Path& copy, const Names& ignoredAtRoot,
                                                const Cancel& cancel) {
  std::vector<TreeItems> trees = readTrees({reference, copy}, {ignoredAtRoot, cancel});
  for (TreeItems& items : trees) sortByPath(items);
  return differences(trees.front(), trees.back());
}

TreeVerifier::Manifest TreeVerifier::manifest(const Path& root, const Names& ignoredAtRoot, const Cancel& cancel) {
  Manifest manifest;
  TreeItems items = std::move(readTrees({root}, {ignoredAtRoot, cancel}).front());
  for (TreeItem& item : items) manifest.insert_or_assign(std::move(item.path), entryOf(std::move(item.content)));
  return manifest;
}

TreeVerifier::Entry TreeVerifier::entry(const Path& url) {
  const TreeReader reader(url);
  TreeReader::Item item = reader.examine("");
  switch (item.status.type) {
    case FileType::folder:
      return Directory{};
    case FileType::symbolicLink:
      return Symlink{std::move(item.linkTarget)};
    case FileType::regular:
      return entryOf(ContentReader(nullptr).read(reader, "", lastComponent(url)));
    default:
      return Other{std::string(typeName(item.status.type))};
  }
}

std::string TreeVerifier::digest(const Path& url) {
  return Sha256::hexadecimal(ContentReader(nullptr).readToEnd(TreeReader(url).open("")).digest);
}

}  // namespace tavrine
