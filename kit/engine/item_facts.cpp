#include "kit/engine/item_facts.h"

#include <filesystem>

#include "platform/file_items.h"
#include "platform/file_tree.h"
#include "platform/volume.h"

namespace tavrine {
namespace {

/// The sum over the item, or over every regular file below it. A file is counted under each of its names.
int64_t sizeOf(const Path& url, int64_t FileStatus::*size) {
  int64_t sum = 0;
  FileTree tree(withoutSlashAtEnd(url));
  while (const auto step = tree.next()) {
    if (step->visit == FileTree::Visit::other && step->status.type == FileType::regular) sum += step->status.*size;
  }
  return sum;
}

}  // namespace

ItemFacts ItemFacts::inspect(const Path& url) {
  ItemFacts facts;
  try {
    // With a slash behind it the system would follow a link.
    facts.isSymlink = statusOf(withoutSlashAtEnd(url)).type == FileType::symbolicLink;
  } catch (const std::filesystem::filesystem_error&) {
    return facts;
  }
  facts.exists = true;
  const VolumeFacts volume = volumeFacts(url);
  facts.isVolumeRoot = volume.isRoot.value_or(false);
  facts.isNetworkVolume = !volume.isLocal.value_or(true);
  if (!facts.isSymlink) facts.size = allocatedSize(url);
  return facts;
}

int64_t ItemFacts::allocatedSize(const Path& url) {
  return sizeOf(url, &FileStatus::allocated);
}

int64_t ItemFacts::logicalSize(const Path& url) {
  return sizeOf(url, &FileStatus::size);
}

}  // namespace tavrine
