#include "kit/engine/unlisted_image.h"

#include "platform/bookmark.h"

namespace tavrine {

LockedItem recordOfUnlistedImage(const Uuid& id, const Path& locked, const std::optional<ItemMarker>& marker) {
  return {.id = id,
          .displayName = Locker::itemName(marker, std::nullopt, locked),
          .kind = marker ? marker->kind : LockedItem::Kind::folder,
          .bookmark = makeBookmark(locked),
          .lastKnownPath = locked,
          .createdAt = currentDate(),
          .passwordGeneration = 0,
          .stage = LockedItem::Stage::complete};
}

}  // namespace tavrine
