#include <algorithm>

#include "kit/engine/ignored_failure.h"
#include "kit/engine/locker.h"
#include "kit/engine/unlisted_image.h"
#include "kit/engine/volume_layout.h"
#include "kit/records/locked_extension.h"
#include "platform/file_items.h"

namespace tavrine {
namespace {

/// Whether the image is attached below the mounts root, and so one of ours.
bool isManaged(const Locker& locker, const AttachedImage& image) {
  return canonicalPath(image.mountPoint).starts_with(canonicalPath(locker.mountsRoot) + "/");
}

std::optional<OpenItem> openItem(const AttachedImage& image, const std::vector<LockedItem>& records) {
  const std::string name = lastComponent(image.mountPoint);
  const auto record =
      std::find_if(records.begin(), records.end(), [&](const LockedItem& item) { return item.id.text() == name; });
  if (record == records.end()) return std::nullopt;
  const auto marker = ItemMarker::read(image.mountPoint);
  const Path lockedURL = ItemIndex::locate(*record).value_or(Path(image.imagePath));
  return OpenItem{.id = record->id,
                  .lockedURL = lockedURL,
                  .mountPoint = canonicalPath(image.mountPoint),
                  .kind = marker ? marker->kind : record->kind,
                  .name = Locker::itemName(marker, *record, lockedURL)};
}

/// Whether the image tool lists a volume there; not where it gives no list.
bool isListed(const DiskImageTool& tool, const std::string& mountPoint) {
  bool isFound = false;
  (void)ignoringFailure([&] {
    const auto images = tool.attachedImages();
    isFound = std::any_of(images.begin(), images.end(),
                          [&](const AttachedImage& image) { return canonicalPath(image.mountPoint) == mountPoint; });
  });
  return isFound;
}

/// The names of the volume's own entries that are content; none where they cannot be listed.
std::vector<std::string> contentNames(const Path& mount) {
  std::vector<std::string> names;
  (void)ignoringFailure([&] { names = namesIn(mount); });
  std::erase_if(names, [](const std::string& name) { return VolumeLayout::housekeeping().contains(name); });
  return names;
}

}  // namespace

std::vector<OpenItem> Locker::openItems() const {
  const std::vector<LockedItem> records = index.load();
  std::vector<OpenItem> items;
  for (const AttachedImage& image : tool.attachedImages()) {
    if (!isManaged(*this, image)) continue;
    if (auto item = openItem(image, records)) items.push_back(*std::move(item));
  }
  return items;
}

void Locker::relock(const OpenItem& item, DiskImageTool::Force force) const {
  const bool isAttached = isListed(tool, canonicalPath(item.mountPoint)) || isMountPoint(item.mountPoint);
  if (isAttached) tool.detach(item.mountPoint, force);
  (void)removeEmptyFolder(item.mountPoint);  // a folder that holds something stays
}

void Locker::adoptOpenItems(const std::vector<AttachedImage>& attached) const {
  for (const AttachedImage& image : attached) {
    if (!isManaged(*this, image)) continue;
    const auto id = Uuid::parse(lastComponent(image.mountPoint));
    const Path locked = image.imagePath;
    if (!id || pathExtension(locked) != lockedExtension || !fileExists(locked)) continue;
    const LockedItem record = recordOfUnlistedImage(*id, locked, ItemMarker::read(image.mountPoint));
    (void)ignoringFailure([&] { index.upsert(record); });  // its next unlock makes one
  }
}

int64_t Locker::contentLogicalSize(const Path& mount, LockedItem::Kind kind, const std::string& name) {
  if (kind == LockedItem::Kind::file) return ItemFacts::logicalSize(mount / name);
  int64_t size = 0;
  for (const std::string& one : contentNames(mount)) size += ItemFacts::logicalSize(mount / one);
  return size;
}

}  // namespace tavrine
