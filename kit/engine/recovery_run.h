#pragma once

#include <optional>
#include <vector>

#include "kit/engine/ignored_failure.h"
#include "kit/engine/locker.h"

namespace tavrine {

/// One run of the recovery: what was attached and recorded when it began, and what it did so far. Its order of steps is
/// that of its members. Used once, by `Locker::recover`, which must outlive it. Absorbs every error: it has nobody to
/// report to, and what it cannot do is left for the next start.
class RecoveryRun final {
 public:
  explicit RecoveryRun(const Locker& locker);

  RecoveryReport report();

 private:
  enum class Outcome { kept, dropped, finishedLock, discardedLock, finishedRestore, discardedRestore };

  /// The image of a lock entry, as far as its place is known.
  enum class ImagePlace {
    unknown,
    doubtful,  ///< something is where the record says, but it is not the image that was made
    known,
  };

  void readIndex();
  std::vector<JournalEntry> readJournal();

  void handle(const JournalEntry& entry);
  void count(Outcome outcome);

  Outcome handleLock(const JournalEntry& entry);
  ImagePlace imagePlace(const JournalEntry& entry, const LockedItem* record) const;
  bool settleOriginal(const JournalEntry& entry, const LockedItem* record, ImagePlace image);
  bool removeOriginal(JournalEntry entry, const FileIdentity& original) const;
  void disown(JournalEntry entry, bool wasMoved) const;
  bool deleteRenamed(const Path& path) const;
  void markComplete(const LockedItem& record) const;

  Outcome handleRestore(const JournalEntry& entry);
  void finishRestore(const JournalEntry& entry, bool isLockedThere) const;
  bool isAtRecordedPlace(const JournalEntry& entry) const;

  void detachStale();
  void removeEmptyMountPoints() const;

  const LockedItem* recordOf(const Uuid& id) const;
  void detachAll(const Path& imagePath) const;
  void detachMountPoint(const Path& mountPoint) const;
  void detach(const Path& mountPoint) const;

  const Locker& locker_;
  std::vector<AttachedImage> startList_;
  std::optional<std::vector<LockedItem>> records_;  ///< as they were read at the start; nothing where they could not be
  RecoveryReport report_;
};

/// Whether every piece that the entry names lies directly in the folder of its `originalPath`, each under a name of its
/// own. An entry of ours always does; any other could lead the recovery to files that are none of its business.
bool staysInItsFolder(const JournalEntry& entry);

/// Whether the folder that holds `path` is there, with the volume that belongs there.
bool parentExists(const Path& path);

/// Whether the item at `path` is the one with this identity; never without an identity.
bool isIdentityAt(const Path& path, const std::optional<FileIdentity>& identity);

}  // namespace tavrine
