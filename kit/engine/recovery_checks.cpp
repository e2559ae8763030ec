#include <set>

#include "kit/engine/recovery_run.h"
#include "platform/expected_mounts.h"

namespace tavrine {
namespace {

bool liesDirectlyIn(const Path& folder, const Path& path) {
  const Path name = path.filename();
  const bool isName = !name.empty() && name != "." && name != "..";
  // What follows a NUL would be part of the name here and not for the system.
  return isName && path.is_absolute() && path.parent_path() == folder && path.string().find('\0') == std::string::npos;
}

}  // namespace

bool staysInItsFolder(const JournalEntry& entry) {
  const Path folder = entry.originalPath.parent_path();
  if (!liesDirectlyIn(folder, entry.originalPath)) return false;
  std::set<Path> pieces = {entry.originalPath};
  for (const Path& piece : {entry.partialPath, entry.finalPath, entry.deletingPath.value_or(Path())}) {
    if (piece.empty()) continue;
    if (!liesDirectlyIn(folder, piece) || !pieces.insert(piece).second) return false;
  }
  return true;
}

bool parentExists(const Path& path) {
  const Path parent = path.parent_path();
  std::error_code ignored;  // whatever it is, the folder cannot be used
  // Looked at first: that is what makes an automatic mount appear.
  return std::filesystem::is_directory(parent, ignored) && !awaitsMount(parent);
}

bool isIdentityAt(const Path& path, const std::optional<FileIdentity>& identity) {
  return identity && FileIdentity::of(path) == identity;
}

}  // namespace tavrine
