#pragma once

#include <string>
#include <vector>

#include "platform/file_status.h"
#include "platform/paths.h"

namespace tavrine {

// What the platform's file manager does with files and folders. A failure is a `std::filesystem::filesystem_error`.

/// Whether something is at `path`, links followed: a dangling link is nothing.
bool fileExists(const Path& path);

/// Whether something is at `path`, be it a dangling link.
bool isSomethingAt(const Path& path);

/// Whether surely nothing is at `path`: not where it cannot be examined.
bool isNothingAt(const Path& path);

/// The status of the item itself, a link not followed. Throws where it cannot be examined.
FileStatus statusOf(const Path& path);

/// The target of a link, as it is stored.
std::string linkTarget(const Path& path);

/// The names directly inside a folder, as the file system lists them, without "." and "..".
std::vector<std::string> namesIn(const Path& folder);

/// Makes one folder, with this mode without the bits of the process's file mode mask; what is above it must exist, and
/// nothing may be there.
void createFolder(const Path& folder, uint32_t mode);

/// Removes a folder if it is empty. Whether it did; an error is no more than that.
bool removeEmptyFolder(const Path& folder);

/// Makes a link at `destination` like the one at `source`, with its owner and times where that is allowed.
void copyLink(const Path& source, const Path& destination);

/// Gives an item another name on its volume. Never replaces anything, never copies. The new name is durable when this
/// returns, as far as the folder can be synced.
void moveItem(const Path& source, const Path& destination);

/// Makes the names in `folder` durable, as far as it can be opened and synced. Never fails.
void syncFolder(const Path& folder);

/// Clears what keeps the owner from deleting a file, or a folder with all below it: the flags that forbid it and, of
/// folders, missing rights of the owner. Never fails: what cannot be changed stays as it is. Follows no link, leaves
/// neither the mount nor the device, changes no file with several names.
void makeTreeDeletable(const Path& path);

/// Removes a file, a link, or a folder with all below it. Follows no link, enters no mount (which then is an error).
/// Folders that lack the owner's rights get them on the way. Large trees are removed by several threads.
void removeItem(const Path& path);

}  // namespace tavrine
