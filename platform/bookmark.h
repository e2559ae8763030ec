#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/paths.h"

namespace tavrine {

/// Opaque bytes by which a file or folder is found again after it was renamed or moved on its volume; nothing where
/// none can be made. Of a link, they are those of its target.
std::optional<std::string> makeBookmark(const Path& url);

/// Where the item of a bookmark is now. Identity decides: another file at the old path is never the answer, nor is one
/// of our own temporary names or anything below one. Looks where it was first, which costs next to nothing, and bounds
/// every search. Nothing where it is not found, or the bytes are no bookmark.
std::optional<Path> resolveBookmark(std::string_view bookmark);

/// Whether the item at `path`, a link not followed, is the one of the bookmark. Looks nowhere else.
bool isBookmarkOf(std::string_view bookmark, const Path& path);

}  // namespace tavrine
