#include "kit/engine/cloud_files.h"

#include <filesystem>
#include <system_error>

#include "kit/tools/file_walk.h"
#include "platform/text.h"

namespace tavrine {
namespace {

constexpr std::string_view placeholderEnd = ".icloud";

bool isPlaceholder(std::string_view name) {
  return name.starts_with('.') && name.ends_with(placeholderEnd);
}

/// Whether something lies between the dot and the end: the names ".icloud" and "..icloud" stand for no file.
bool standsForFile(std::string_view name) {
  return isPlaceholder(name) && characters(name).size() > placeholderEnd.size() + 1;
}

}  // namespace

bool CloudFiles::needsDownload(std::string_view name, bool isUbiquitous, std::optional<Status> status) {
  if (standsForFile(name)) return true;
  return isUbiquitous && status && *status != Status::current;
}

std::vector<Path> CloudFiles::notDownloaded(const Path& url) {
  std::error_code error;
  const auto status = std::filesystem::status(url, error);
  if (!std::filesystem::exists(status)) return {};
  const bool isFolder = std::filesystem::is_directory(status);
  const bool isUbiquitous = cloudItem(url).isUbiquitous;
  const auto needs = [isUbiquitous](const Path& item, bool isItemFolder) {
    const CloudItem known = isUbiquitous && !isItemFolder ? cloudItem(item) : CloudItem{};
    return needsDownload(lastComponent(item), known.isUbiquitous, known.status);
  };

  std::vector<Path> pending;
  if (needs(url, isFolder)) pending.push_back(url);
  if (!isFolder) return pending;
  try {
    FileWalk::walk(url, [&](const FileWalk::Entry& entry) {
      if (needs(entry.rawPath, entry.isDirectory)) pending.emplace_back(entry.rawPath);
      return FileWalk::Next::descend;
    });
  } catch (const FileWalk::WalkError&) {
    // The lock's own walks report it; here the question is only what to wait for.
  }
  return pending;
}

void CloudFiles::requestDownload(const std::vector<Path>& urls) {
  for (const Path& url : urls) {
    (void)startCloudDownload(downloadTarget(url));  // what is refused shows when the wait ends
  }
}

Path CloudFiles::downloadTarget(const Path& url) {
  const std::string name = lastComponent(url);
  if (!standsForFile(name)) return url;
  return url.parent_path() / name.substr(1, name.size() - 1 - placeholderEnd.size());
}

}  // namespace tavrine
