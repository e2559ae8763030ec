#pragma once

#include <sys/stat.h>

#include <string_view>

#include "platform/linux/programs/ditto/open_item.h"

namespace tavrine {

/// Gives `to`, just made, what `from` had when its `status` was taken: owner, extended attributes, access-control
/// lists, mode and times, in this order, since each step can undo a later one. An owner that this user may not give is
/// left: the copy then belongs to this user, without the bits that would let others act as him. Returns a text to tell
/// when that took such a bit away, else an empty one. Throws `CopyError`.
[[nodiscard]] std::string_view copyAttributes(const OpenItem& from, const OpenItem& to, const struct stat& status);

/// Whether contents were changed between two looks at the same file or folder.
bool isChanged(const struct stat& before, const struct stat& after);

}  // namespace tavrine
