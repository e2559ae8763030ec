#include <algorithm>
#include <set>

#include "kit/engine/recovery_run.h"
#include "platform/file_items.h"
#include "platform/volume.h"

namespace tavrine {

RecoveryReport Locker::recover() const {
  return RecoveryRun(*this).report();
}

RecoveryRun::RecoveryRun(const Locker& locker) : locker_(locker) {
  (void)ignoringFailure([this] { startList_ = locker_.tool.attachedImages(); });
}

RecoveryReport RecoveryRun::report() {
  readIndex();
  for (const JournalEntry& entry : readJournal()) handle(entry);
  if (!records_) {
    if (report_.indexWasDamaged) (void)ignoringFailure([this] { locker_.adoptOpenItems(startList_); });
    return report_;
  }
  const bool areListed = ignoringFailure([this] { detachStale(); });
  if (areListed) (void)ignoringFailure([this] { removeEmptyMountPoints(); });
  return report_;
}

void RecoveryRun::readIndex() {
  (void)ignoringFailure([this] {
    ItemIndex::Loaded loaded = locker_.index.loadReportingDamage();
    report_.indexWasDamaged = loaded.damaged;
    if (!loaded.damaged) records_ = std::move(loaded.items);
  });
}

std::vector<JournalEntry> RecoveryRun::readJournal() {
  std::vector<JournalEntry> entries;
  (void)ignoringFailure([this, &entries] {
    OperationJournal::Loaded loaded = locker_.journal.loadReportingDamage();
    report_.journalWasDamaged = loaded.damaged;
    entries = std::move(loaded.entries);
  });
  return entries;
}

void RecoveryRun::handle(const JournalEntry& entry) {
  Outcome outcome = Outcome::kept;
  (void)ignoringFailure([&] {
    if (!staysInItsFolder(entry)) return;
    outcome = entry.kind == JournalEntry::Kind::lock ? handleLock(entry) : handleRestore(entry);
  });
  count(outcome);
  if (outcome != Outcome::kept) (void)ignoringFailure([&] { locker_.journal.remove(entry.id); });
}

void RecoveryRun::count(Outcome outcome) {
  switch (outcome) {
    case Outcome::kept:
      ++report_.keptForLater;
      break;
    case Outcome::dropped:
      break;
    case Outcome::finishedLock:
      ++report_.finishedLocks;
      break;
    case Outcome::discardedLock:
      ++report_.discardedLocks;
      break;
    case Outcome::finishedRestore:
      ++report_.finishedRestores;
      break;
    case Outcome::discardedRestore:
      ++report_.discardedRestores;
      break;
  }
}

void RecoveryRun::detachStale() {
  const std::string below = canonicalPath(locker_.mountsRoot) + "/";
  for (const AttachedImage& image : locker_.tool.attachedImages()) {
    if (!canonicalPath(image.mountPoint).starts_with(below)) continue;
    const std::string name = lastComponent(image.mountPoint);
    if (std::any_of(records_->begin(), records_->end(), [&](const auto& item) { return item.id.text() == name; })) {
      continue;
    }
    detach(image.mountPoint);
    ++report_.detachedStale;
  }
}

void RecoveryRun::removeEmptyMountPoints() const {
  std::set<std::string> mountPoints;
  for (const AttachedImage& image : locker_.tool.attachedImages()) mountPoints.insert(canonicalPath(image.mountPoint));
  for (const std::string& name : namesIn(locker_.mountsRoot)) {
    const Path folder = locker_.mountsRoot / name;
    if (mountPoints.contains(canonicalPath(folder))) continue;
    // A volume whose server was killed is in no list, and its item could not be unlocked any more.
    if (isDeadMount(folder)) detach(folder);
    (void)removeEmptyFolder(folder);
  }
}

const LockedItem* RecoveryRun::recordOf(const Uuid& id) const {
  const auto found =
      std::find_if(records_->begin(), records_->end(), [&id](const LockedItem& item) { return item.id == id; });
  return found == records_->end() ? nullptr : &*found;
}

void RecoveryRun::detachAll(const Path& imagePath) const {
  const std::string wanted = canonicalPath(imagePath);
  for (const AttachedImage& image : startList_) {
    if (image.imagePath == wanted) detach(image.mountPoint);
  }
}

void RecoveryRun::detachMountPoint(const Path& mountPoint) const {
  const std::string wanted = canonicalPath(mountPoint);
  for (const AttachedImage& image : startList_) {
    if (canonicalPath(image.mountPoint) == wanted) detach(image.mountPoint);
  }
}

void RecoveryRun::detach(const Path& mountPoint) const {
  (void)ignoringFailure([&] { locker_.tool.detach(mountPoint, DiskImageTool::Force::yes); });
  (void)removeEmptyFolder(mountPoint);
}

}  // namespace tavrine
