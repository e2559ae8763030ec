#include <algorithm>
#include <utility>

#include "kit/engine/ignored_failure.h"
#include "kit/engine/locker.h"
#include "kit/engine/unlisted_image.h"
#include "kit/errors/tavrine_error.h"
#include "kit/records/locked_extension.h"
#include "platform/file_items.h"

namespace tavrine {
namespace {

std::optional<OpenItem> openItem(const Locker& locker, const Uuid& id) {
  std::vector<OpenItem> items = locker.openItems();
  const auto found = std::find_if(items.begin(), items.end(), [&](const OpenItem& item) { return item.id == id; });
  return found == items.end() ? std::nullopt : std::optional(std::move(*found));
}

void attach(const Locker& locker, const Path& lockedURL, const Path& mountPoint, const Password& password) {
  locker.makeMountPoint(mountPoint);
  try {
    locker.tool.attach({lockedURL, mountPoint, password});
  } catch (...) {
    (void)removeEmptyFolder(mountPoint);
    throw;
  }
}

/// A record for an image that has none; the missing size for a record without.
void completeRecords(const Locker& locker, const OpenItem& item, const std::optional<ItemMarker>& marker,
                     std::optional<LockedItem> record) {
  if (record && record->contentSize) return;
  const bool isNew = !record;
  if (isNew) record = recordOfUnlistedImage(item.id, item.lockedURL, marker);
  record->contentSize = Locker::contentLogicalSize(item.mountPoint, item.kind, item.name);
  if (isNew) return locker.index.upsert(*record);
  (void)ignoringFailure([&] { locker.index.upsert(*record); });  // measured again the next time
}

}  // namespace

OpenItem Locker::unlock(const Path& lockedURL, const Password& password) const {
  if (pathExtension(lockedURL) != lockedExtension) throw TavrineError::notLocked();
  if (!fileExists(lockedURL)) throw TavrineError::notFound();
  const auto record = index.item(lockedURL);
  if (record) {
    if (auto item = openItem(*this, record->id)) return *std::move(item);
  }
  const Uuid id = record ? record->id : Uuid::random();
  const Path mountPoint = mountsRoot / id.text();
  attach(*this, lockedURL, mountPoint, password);
  const auto marker = ItemMarker::read(mountPoint);
  const auto kind = marker ? marker->kind : record ? record->kind : LockedItem::Kind::folder;
  OpenItem item{id, lockedURL, mountPoint, kind, itemName(marker, record, lockedURL)};
  completeRecords(*this, item, marker, record);
  return item;
}

}  // namespace tavrine
