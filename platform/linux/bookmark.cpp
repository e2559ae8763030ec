#include "platform/bookmark.h"

#include <filesystem>
#include <optional>
#include <system_error>

#include "platform/file_identity.h"
#include "platform/linux/bookmark_data.h"
#include "platform/linux/file_search.h"
#include "platform/linux/kernel_handle.h"

namespace tavrine {
namespace {

bool isTemporary(const Path& path) {
  return path.string().find("/.tavrine-") != std::string::npos;
}

bool isItem(const Path& path, const FileIdentity& identity) {
  return !isTemporary(path) && FileIdentity::of(path) == identity;
}

/// The path of the item itself. Left as it is where it can be: what is shown to the user is the path he uses.
Path itemPath(const Path& url) {
  Path path = withoutSlashAtEnd(url);
  std::error_code ignored;  // what cannot be examined is no link
  const bool isLink = std::filesystem::is_symlink(path, ignored);
  // A ".." cannot be taken out as text: the component before it may be a link.
  return isLink || path != path.lexically_normal() ? Path(canonicalPath(path)) : path;
}

}  // namespace

std::optional<std::string> makeBookmark(const Path& url) {
  const Path path = itemPath(url);
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

bool isBookmarkOf(std::string_view bookmark, const Path& path) {
  const auto data = BookmarkData::parse(bookmark);
  return data && FileIdentity::of(path) == data->identity;
}

}  // namespace tavrine
