#include "platform/bookmark.h"

#include <optional>

#include "platform/file_identity.h"
#include "platform/linux/bookmark_data.h"
#include "platform/linux/file_search.h"
#include "platform/linux/kernel_handle.h"

namespace tavrine {
namespace {

bool isTemporaryName(const Path& path) {
  return lastComponent(path).starts_with(".tavrine-");
}

bool isItem(const Path& path, const FileIdentity& identity) {
  return !isTemporaryName(path) && FileIdentity::of(path) == identity;
}

}  // namespace

std::optional<std::string> makeBookmark(const Path& url) {
  const Path path = standardizedPath(url);
  const auto identity = FileIdentity::of(path);
  if (!identity || !path.is_absolute()) return std::nullopt;
  return BookmarkData{*identity, path.string(), kernelHandleOf(path)}.bytes();
}

std::optional<Path> resolveBookmark(std::string_view bookmark) {
  const auto data = BookmarkData::parse(bookmark);
  if (!data) return std::nullopt;
  const Path path(data->path);
  if (isItem(path, data->identity)) return path;
  const auto opened = pathOfKernelHandle(data->handle, path.parent_path());
  if (opened && isItem(*opened, data->identity)) return opened;
  const auto isSought = [&data](const Path& candidate) { return isItem(candidate, data->identity); };
  return searchAround(path.parent_path(), data->identity.inode, isSought);
}

}  // namespace tavrine
