#include <cerrno>
#include <cstdio>

#include "platform/exclusive_rename.h"
#include "platform/file_items.h"

namespace tavrine {
namespace {

/// What `systemExclusiveRename` gives, also where the file system has no such rename.
int renameToFreeName(const Path& source, const Path& destination) {
  const int error = systemExclusiveRename(source, destination);
  if (error != EINVAL && error != ENOTSUP) return error;
  try {
    (void)statusOf(destination);
    return EEXIST;
  } catch (const std::filesystem::filesystem_error& absent) {
    if (absent.code() != std::errc::no_such_file_or_directory) return absent.code().value();
  }
  return ::rename(source.c_str(), destination.c_str()) == 0 ? 0 : errno;
}

}  // namespace

void moveItem(const Path& source, const Path& destination) {
  // A slash at the end would have a link followed.
  const Path from = withoutSlashAtEnd(source);
  const Path to = withoutSlashAtEnd(destination);
  if (const int error = renameToFreeName(from, to); error != 0) {
    throw std::filesystem::filesystem_error("cannot move", source, destination,
                                            std::error_code(error, std::generic_category()));
  }
  // The new name first: after a power cut two names can be sorted out, none cannot.
  syncFolder(to.parent_path());
  if (to.parent_path() != from.parent_path()) syncFolder(from.parent_path());
}

}  // namespace tavrine
