#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "kit/tools/cancel_token.h"
#include "platform/file_status.h"
#include "platform/sha256.h"
#include "platform/tree_reader.h"

namespace tavrine {

struct FileContent {
  int64_t size = 0;  ///< bytes
  Sha256::Digest digest{};
  bool operator==(const FileContent&) const = default;
};
struct LinkContent {
  std::string target;
  bool operator==(const LinkContent&) const = default;
};
struct SpecialContent {
  FileType type;
  bool operator==(const SpecialContent&) const = default;
};
struct FolderContent {
  bool operator==(const FolderContent&) const = default;
};
using Content = std::variant<FileContent, LinkContent, SpecialContent, FolderContent>;

/// One path of a tree and what it holds. Small: a comparison keeps one for every item of both trees.
struct TreeItem {
  std::string path;  ///< relative to the root, in raw bytes; empty for the root itself
  Content content;
};

/// Grows without moving what is in it: a file's digest is filled in where it stands, while more items are found.
using TreeItems = std::deque<TreeItem>;

/// The platform's name for what is neither file, link nor folder.
std::string_view typeName(FileType type);

/// What one thread reads files with, one file after the other.
class ContentReader final {
 public:
  explicit ContentReader(std::shared_ptr<const CancelToken> cancel);

  /// The content of a regular file. Throws the system's error, `copyFailed` where the file does not give as many bytes
  /// as its attributes say (it changed meanwhile), and `cancelled` in the midst of a large file.
  FileContent read(const TreeReader& tree, const std::string& relativePath, const std::string& name);

  /// The digest of all that can be read from `file`, and how much that is.
  FileContent readToEnd(ReadableFile file);

 private:
  const std::shared_ptr<const CancelToken> cancel_;
  Sha256 sha256_;
  std::vector<std::byte> buffer_;
};

}  // namespace tavrine
