#pragma once

#include <filesystem>
#include <string>

namespace tavrine {

/// A file location. On Linux its text is any bytes but NUL, so it need not be UTF-8.
using Path = std::filesystem::path;

/// `path` without slashes at its end; "/" stays.
Path withoutSlashAtEnd(const Path& path);

/// `path` without "." and ".." components, repeated slashes and a slash at its end. Looks at the text alone, never at
/// the disk:
/// ".." removes the component before it even where that is a symbolic link.
Path standardizedPath(const Path& path);

/// Standardises `path`, then resolves its symbolic links. Where the whole does not resolve, its longest part that does
/// is resolved and the rest is kept as written; where no part but "/" does, the standardised path is returned. Never
/// fails.
Path realPath(const Path& path);

/// The path text to compare locations by: symbolic links resolved first, then standardised. What cannot be resolved
/// (missing, forbidden, on a dead mount) stays as written behind the longest part that can. Never fails.
std::string canonicalPath(const Path& path);

/// The last component: "b" of "/a/b" and of "/a/b/", "/" of "/", empty of an empty path.
std::string lastComponent(const Path& path);

/// What follows the last dot of the last component, without the dot. Empty where the name only begins with that dot
/// (".bashrc"), ends with it ("a."), or where what follows holds a space ("Dr. Who").
std::string pathExtension(const Path& path);

/// The last component without its extension and the dot before it; the whole component where it has no extension.
std::string nameWithoutExtension(const Path& path);

}  // namespace tavrine
