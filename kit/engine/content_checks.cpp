#include <filesystem>

#include "kit/engine/locker.h"
#include "kit/errors/tavrine_error.h"
#include "kit/records/locked_extension.h"
#include "kit/tools/file_walk.h"
#include "platform/file_flags.h"
#include "platform/file_items.h"
#include "platform/path_relation.h"
#include "platform/volume.h"

namespace tavrine {
namespace {

constexpr uint32_t lockedFlags = immutableFlag | appendFlag;

bool isAppleDouble(const std::string& name) {
  return name.starts_with("._");
}

/// Whether an item is a file with a name besides this one.
bool isHardLinked(const FileStatus& status) {
  return status.type == FileType::regular && status.links > 1;
}

/// Whether the walk of `url` comes to an entry that can be examined and is `sought`.
template <typename Condition>
bool holdsAny(const Path& url, const Condition& sought) {
  struct Found {};
  try {
    FileWalk::walk(url, [&sought](const FileWalk::Entry& entry) {
      if (!entry.problem && sought(entry)) throw Found();
      return FileWalk::Next::descend;
    });
  } catch (const Found&) {
    return true;
  }
  return false;
}

}  // namespace

void Locker::refuseMountsInside(const Path& url, const std::string& name) const {
  const std::string item = canonicalPath(url);
  for (const AttachedImage& image : tool.attachedImages()) {
    if (isAtOrBelow(image.imagePath, item)) {
      throw pathExtension(image.imagePath) == lockedExtension ? TavrineError::containsUnlockedItem(name)
                                                              : TavrineError::containsMountedDisk(name);
    }
    if (isAtOrBelow(canonicalPath(image.mountPoint), item)) throw TavrineError::containsMountedDisk(name);
  }
  // Any other file system mounted there would be copied in, and then emptied.
  if (!mountPointsAtOrBelow(item).empty()) throw TavrineError::containsMountedDisk(name);
}

void Locker::refuseFinderLocked(const Path& url, const std::string& name) {
  if (!isSomethingAt(url)) return;
  if ((fileFlags(url) & lockedFlags) != 0 || hasDenyDeleteACL(url)) throw TavrineError::finderLocked(name);
}

void Locker::refuseAppleDoubleOrFinderLockedInside(const Path& url, const std::string& name) {
  if (isAppleDouble(lastComponent(url))) throw TavrineError::containsAppleDouble(name);
  enum class Finding { none, appleDouble, finderLocked };
  struct Stop {
    Finding finding;
  };
  Finding finding = Finding::none;
  try {
    FileWalk::walk(url, [](const FileWalk::Entry& entry) {
      if (isAppleDouble(entry.name())) throw Stop{Finding::appleDouble};
      if (!entry.problem && (fileFlags(entry.rawPath) & lockedFlags) != 0) throw Stop{Finding::finderLocked};
      return FileWalk::Next::descend;
    });
  } catch (const Stop& stop) {
    finding = stop.finding;
  }
  if (finding == Finding::appleDouble) throw TavrineError::containsAppleDouble(name);
  if (finding == Finding::finderLocked) throw TavrineError::containsFinderLocked(name);
}

void Locker::refuseHardLinkedFiles(const Path& url, const std::string& name) {
  const bool isLinked = isSomethingAt(url) && isHardLinked(statusOf(url));
  if (isLinked || holdsAny(url, [](const FileWalk::Entry& entry) { return isHardLinked(entry.info); })) {
    throw TavrineError::hardLinked(name);
  }
}

}  // namespace tavrine
