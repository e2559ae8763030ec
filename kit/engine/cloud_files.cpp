#include "kit/engine/cloud_files.h"

#include "kit/tools/file_walk.h"
#include "platform/file_items.h"

namespace tavrine {
namespace {

constexpr std::string_view placeholderEnd = ".icloud";

// This platform has no cloud files of its own: nothing is ubiquitous, and the placeholder's name alone decides.
constexpr bool isUbiquitous = false;

}  // namespace

bool CloudFiles::needsDownload(std::string_view name, bool ubiquitous, std::optional<Status> status) {
  const bool isPlaceholder = name.starts_with('.') && name.ends_with(placeholderEnd);
  if (isPlaceholder && name.size() > placeholderEnd.size() + 1) return true;
  return ubiquitous && status && *status != Status::current;
}

std::vector<Path> CloudFiles::notDownloaded(const Path& url) {
  std::vector<Path> files;
  if (!fileExists(url)) return files;
  if (needsDownload(lastComponent(url), isUbiquitous, std::nullopt)) files.push_back(url);
  try {
    FileWalk::walk(url, [&files](const FileWalk::Entry& entry) {
      if (needsDownload(entry.name(), isUbiquitous, std::nullopt)) files.emplace_back(entry.rawPath);
      return FileWalk::Next::descend;
    });
  } catch (const FileWalk::WalkError&) {
    // What was found so far is the answer: what cannot be looked at is met again by the copy.
  }
  return files;
}

void CloudFiles::requestDownload(const std::vector<Path>&) {
  // No service of this platform fetches what a placeholder stands for.
}

}  // namespace tavrine
