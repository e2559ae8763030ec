#include "kit/engine/tree_content.h"

#include "kit/errors/tavrine_error.h"

namespace tavrine {
namespace {

constexpr size_t chunkBytes = 1 << 20;

/// How far a large file is read before the token is asked again.
constexpr int64_t cancelEveryBytes = 8 << 20;

}  // namespace

std::string_view typeName(FileType type) {
  switch (type) {
    case FileType::regular:
      return "regular";
    case FileType::folder:
      return "directory";
    case FileType::symbolicLink:
      return "symbolic link";
    case FileType::characterDevice:
      return "character special";
    case FileType::blockDevice:
      return "block special";
    case FileType::fifo:
      return "fifo";
    case FileType::socket:
      return "socket";
    case FileType::unknown:
      break;
  }
  return "unknown";
}

ContentReader::ContentReader(std::shared_ptr<const CancelToken> cancel)
    : cancel_(std::move(cancel)), buffer_(chunkBytes) {}

FileContent ContentReader::read(const TreeReader& tree, const std::string& relativePath, const std::string& name) {
  ReadableFile file = tree.open(relativePath);
  const int64_t size = file.status().size;
  const FileContent content = readToEnd(std::move(file));
  if (content.size != size) throw TavrineError::copyFailed("Could not read " + name);
  return content;
}

FileContent ContentReader::readToEnd(ReadableFile file) {
  (void)sha256_.finish();  // a file before may have ended in an error and left its beginning behind
  FileContent content;
  int64_t nextCheck = cancelEveryBytes;
  while (const size_t count = file.read(buffer_)) {
    sha256_.add({buffer_.data(), count});
    content.size += static_cast<int64_t>(count);
    if (content.size < nextCheck) continue;
    if (cancel_) cancel_->check();
    nextCheck = content.size + cancelEveryBytes;
  }
  content.digest = sha256_.finish();
  return content;
}

}  // namespace tavrine
