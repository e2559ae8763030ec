#include "kit/engine/changed_since.h"
#include "kit/engine/recovery_run.h"
#include "platform/file_items.h"

namespace tavrine {

RecoveryRun::Outcome RecoveryRun::handleLock(const JournalEntry& entry) {
  detachAll(entry.partialPath);
  if (!records_) return Outcome::kept;
  const LockedItem* const record = recordOf(entry.id);
  if (record != nullptr && record->stage == LockedItem::Stage::complete) return Outcome::dropped;
  if (!parentExists(entry.originalPath)) return Outcome::kept;
  const bool isPartialOurs = !entry.lockedIdentity || isIdentityAt(entry.partialPath, entry.lockedIdentity);
  if (record == nullptr && isPartialOurs) {
    if (isSomethingAt(entry.partialPath)) (void)ignoringFailure([&] { removeItem(entry.partialPath); });
    return Outcome::discardedLock;
  }
  const ImagePlace image = imagePlace(entry, record);
  if (image == ImagePlace::unknown) return Outcome::kept;
  if (!settleOriginal(entry, record, image)) return Outcome::kept;
  if (record != nullptr) markComplete(*record);
  return Outcome::finishedLock;
}

RecoveryRun::ImagePlace RecoveryRun::imagePlace(const JournalEntry& entry, const LockedItem* record) const {
  if (isIdentityAt(entry.finalPath, entry.lockedIdentity)) return ImagePlace::known;
  const std::optional<Path> located = record == nullptr ? std::nullopt : ItemIndex::locate(*record);
  if (!located) return ImagePlace::unknown;
  const bool isOurs = !entry.lockedIdentity || isIdentityAt(*located, entry.lockedIdentity);
  return isOurs ? ImagePlace::known : ImagePlace::doubtful;
}

/// Whether nothing more has to be done about the unlocked item. It is deleted only beside an image that is surely ours.
bool RecoveryRun::settleOriginal(const JournalEntry& entry, const LockedItem* record, ImagePlace image) {
  if (entry.deletingPath && isSomethingAt(*entry.deletingPath)) {
    return image == ImagePlace::known && deleteRenamed(*entry.deletingPath);
  }
  // Settled as gone, what only could not be looked at would lie there unlocked, and nobody would come back to it.
  if (entry.deletingPath && !isNothingAt(*entry.deletingPath)) return false;
  const std::optional<FileIdentity> original = FileIdentity::of(entry.originalPath);
  if (!original) return isNothingAt(entry.originalPath);
  const std::optional<Date> stamp = record != nullptr ? record->createdAt : entry.lockedAt;
  if (!stamp || changedSince(entry.originalPath, *stamp, std::chrono::system_clock::now())) {
    ++report_.keptChangedOriginals;
    return true;
  }
  return image == ImagePlace::known && removeOriginal(entry, *original);
}

bool RecoveryRun::removeOriginal(JournalEntry entry, const FileIdentity& original) const {
  const Path deleting = entry.originalPath.parent_path() / (".tavrine-" + entry.id.text() + ".deleting");
  // With the place in the journal, the next start would take what is there for the item and delete it.
  if (isSomethingAt(deleting)) return false;
  entry.deletingPath = deleting;
  if (!ignoringFailure([&] { locker_.journal.add(entry); })) return false;
  const bool isMoved = ignoringFailure([&] { Locker::renameExclusively(entry.originalPath, deleting); });
  const std::optional<FileIdentity> moved = FileIdentity::of(deleting);
  if (moved && moved != original) disown(entry, isMoved);
  return isMoved && moved == original && deleteRenamed(deleting);
}

/// Something else took the item's place, or that of its deletion, between two steps: it must not be deleted, neither
/// now nor by the next start.
void RecoveryRun::disown(JournalEntry entry, bool wasMoved) const {
  const Path deleting = *entry.deletingPath;
  entry.deletingPath.reset();
  (void)ignoringFailure([&] { locker_.journal.add(entry); });
  if (wasMoved) (void)ignoringFailure([&] { Locker::renameExclusively(deleting, entry.originalPath); });
}

bool RecoveryRun::deleteRenamed(const Path& path) const {
  return ignoringFailure([&] { locker_.deleteRenamedOriginal(path); });
}

void RecoveryRun::markComplete(const LockedItem& record) const {
  LockedItem complete = record;
  complete.stage = LockedItem::Stage::complete;
  complete.originalPath.reset();
  (void)ignoringFailure([&] { locker_.index.upsert(complete); });
}

}  // namespace tavrine
