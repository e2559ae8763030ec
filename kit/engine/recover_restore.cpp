#include "kit/engine/recovery_run.h"
#include "platform/file_items.h"

namespace tavrine {

RecoveryRun::Outcome RecoveryRun::handleRestore(const JournalEntry& entry) {
  if (!records_ || !parentExists(entry.originalPath)) return Outcome::kept;
  const bool isLockedThere = isIdentityAt(entry.originalPath, entry.lockedIdentity);
  const bool isPartialThere = isSomethingAt(entry.partialPath);
  if (!entry.finalPath.empty() && isSomethingAt(entry.finalPath) && !isPartialThere) {
    finishRestore(entry, isLockedThere);
    return Outcome::finishedRestore;
  }
  if (isLockedThere) {
    detachAll(entry.originalPath);
  } else if (!isAtRecordedPlace(entry) && isPartialThere) {
    return Outcome::kept;  // the partial copy may be the only one
  }
  (void)ignoringFailure([&] { removeItem(entry.partialPath); });
  return Outcome::discardedRestore;
}

void RecoveryRun::finishRestore(const JournalEntry& entry, bool isLockedThere) const {
  if (isLockedThere) {
    detachAll(entry.originalPath);
    (void)ignoringFailure([&] { removeItem(entry.originalPath); });
  } else {
    // The image was moved: without a record nothing would say any more whose it is.
    detachMountPoint(locker_.mountsRoot / entry.id.text());
  }
  (void)ignoringFailure([&] { locker_.index.remove(entry.id); });
}

bool RecoveryRun::isAtRecordedPlace(const JournalEntry& entry) const {
  const LockedItem* const record = recordOf(entry.id);
  const std::optional<Path> located = record == nullptr ? std::nullopt : ItemIndex::locate(*record);
  return located && isIdentityAt(*located, entry.lockedIdentity);
}

}  // namespace tavrine
