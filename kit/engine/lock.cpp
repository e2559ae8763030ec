#include <utility>

#include "kit/engine/free_space.h"
#include "kit/engine/ignored_failure.h"
#include "kit/engine/locker.h"
#include "kit/engine/tree_verifier.h"
#include "kit/engine/undone_on_failure.h"
#include "kit/engine/volume_layout.h"
#include "kit/errors/tavrine_error.h"
#include "platform/bookmark.h"
#include "platform/file_items.h"
#include "platform/file_manager.h"
#include "platform/folder_attributes.h"

namespace tavrine {
namespace {

using Kind = LockedItem::Kind;

constexpr double holdersTimeoutSeconds = 10;

/// The names of one lock, all decided before anything is written.
struct Names {
  Path item;         ///< links resolved; all that follows works on this
  std::string name;  ///< its last component: the display name, and the one that errors carry
  Path parent;       ///< its folder, which gets the image and every temporary name
  Uuid id;
  Kind kind;
  Path partial;          ///< the image while it is built
  Path finalPath;        ///< the image in its place
  Path mountPoint;       ///< the image's volume while it is built
  Path copyDestination;  ///< the item in that volume
  Path deleting;         ///< the item just before its deletion

  static Names of(const Locker& locker, const Path& item);
};

Names Names::of(const Locker& locker, const Path& item) {
  const std::string name = lastComponent(item);
  const Path parent = item.parent_path();
  const Uuid id = Uuid::random();
  const Kind kind = statusOf(item).type == FileType::folder ? Kind::folder : Kind::file;
  const bool isPackage = kind == Kind::folder && Locker::isPackageExtension(pathExtension(item));
  const auto form = kind == Kind::file || isPackage ? Locker::Form::fileOrPackage : Locker::Form::folder;
  const Path mountPoint = locker.mountsRoot / id.text();
  const std::string temporary = ".tavrine-" + id.text();
  return {.item = item,
          .name = name,
          .parent = parent,
          .id = id,
          .kind = kind,
          .partial = parent / (temporary + ".partial.sparsebundle"),
          .finalPath = Locker::availableLockedURL(Locker::lockedBaseName(name, form), parent),
          .mountPoint = mountPoint,
          .copyDestination = VolumeLayout::contents(mountPoint, kind, name),
          .deleting = parent / (temporary + ".deleting")};
}

void refuseByPolicy(const LockPolicy& policy, const Path& url, const ItemFacts& facts) {
  if (const auto refusal = policy.refusal(url, facts)) throw TavrineError::refused(*refusal);
}

/// Who only reads the item does not stop the lock.
void refuseWhileWritten(const Path& item) {
  const auto holders = OpenFiles::holders(item, holdersTimeoutSeconds, OpenFiles::lsofPath());
  std::vector<std::string> writers = OpenFiles::writerNames(holders);
  if (!writers.empty()) throw TavrineError::inUse(std::move(writers));
}

/// Phase A: all that can speak against a lock. Nothing is written.
Names checked(const Locker& locker, const Path& url, const Locker::Cancel& cancel, const Progress& progress) {
  progress(LockStep::preparing);
  const ItemFacts facts = ItemFacts::inspect(url);
  refuseByPolicy(locker.policy, url, facts);
  const Path item = realPath(url);
  const std::string name = lastComponent(item);
  locker.refuseMountsInside(item, name);
  Locker::refuseFinderLocked(item, name);
  Locker::refuseAppleDoubleOrFinderLockedInside(item, name);
  Locker::refuseHardLinkedFiles(item, name);
  const bool wasDownloaded = locker.waitForCloudDownloads(item, name, cancel, progress);
  requireFreeSpace(locker, wasDownloaded ? ItemFacts::allocatedSize(item) : facts.size, item.parent_path());
  refuseWhileWritten(item);
  if (cancel) cancel->check();
  return Names::of(locker, item);
}

/// Phases B to E of one lock. Made once the checks are through; runs once.
class Lock final {
 public:
  struct Caller {
    const Locker& locker;
    const Locker::LockKey& key;
    const Locker::Cancel& cancel;
    const Progress& progress;
  };

  Lock(const Caller& caller, Names names)
      : locker_(caller.locker),
        key_(caller.key),
        cancel_(caller.cancel),
        progress_(caller.progress),
        names_(std::move(names)),
        entry_{.id = names_.id,
               .kind = JournalEntry::Kind::lock,
               .originalPath = names_.item,
               .partialPath = names_.partial,
               .finalPath = names_.finalPath} {}

  LockedItem run() {
    writeEntry();
    const auto steps = [this] {
      buildImage();
      verifyImage();
      moveImageIntoPlace();
    };
    undoneOnFailure(steps, [this] { undo(); });
    LockedItem item = recordOfImage();
    reportingFailure(TavrineError::lockedButOriginalRemains, [&] {
      commitRecord(item);
      moveItemAside();
    });
    reportingFailure(TavrineError::lockedButRemovalUnfinished, [this] { removeItemAside(); });
    complete(item);
    progress_(LockStep::finishing);
    return item;
  }

 private:
  // Phase B: the image.

  void buildImage() {
    contentSize_ = ItemFacts::logicalSize(names_.item);
    before_ = Locker::metadataSnapshot(names_.item);
    progress_(LockStep::encrypting);
    locker_.tool.create(names_.partial, Locker::volumeName(names_.name), key_.password);
    crashPoint_ = locker_.crashPoint;
    crashAt(CrashPoint::lockAfterCreate);
    attach(DiskImageTool::Access::readWrite);
    Locker::copy(names_.item, names_.copyDestination, cancel_);
    writeHousekeeping();
    crashAt(CrashPoint::lockAfterCopy);
    locker_.tool.detach(names_.mountPoint);
  }

  void attach(DiskImageTool::Access access) const {
    locker_.makeMountPoint(names_.mountPoint);
    locker_.tool.attach({names_.partial, names_.mountPoint, key_.password, access});
  }

  void writeHousekeeping() const {
    writeFile(names_.mountPoint / VolumeLayout::neverIndexName, "");
    ItemMarker{.kind = names_.kind, .name = names_.name}.write(names_.mountPoint);
    if (names_.kind == Kind::folder) keepFolderAttributes(names_.item, names_.mountPoint);
  }

  // Phase C: what was written is read back from the image, attached anew, and the item must not have changed meanwhile.

  void verifyImage() const {
    progress_(LockStep::verifying);
    attach(DiskImageTool::Access::readOnly);
    auto mismatches =
        TreeVerifier::compare(names_.item, names_.copyDestination, VolumeLayout::ignoredAtRoot(names_.kind), cancel_);
    locker_.tool.detach(names_.mountPoint);
    (void)removeEmptyFolder(names_.mountPoint);  // one that stays is empty and goes at the next start
    if (!mismatches.empty()) throw TavrineError::verificationFailed(std::move(mismatches));
    crashAt(CrashPoint::lockAfterVerify);
    if (locker_.afterVerify) locker_.afterVerify();
    if (Locker::metadataSnapshot(names_.item) != before_) throw TavrineError::changedWhileLocking();
  }

  // Phase D: the image becomes the locked item.

  void moveImageIntoPlace() {
    progress_(LockStep::removingOriginal);
    entry_.lockedIdentity = FileIdentity::of(names_.partial);
    entry_.lockedAt = currentDate();
    writeEntry();
    crashAt(CrashPoint::lockBeforeRename);
    moveItem(names_.partial, names_.finalPath);
  }

  LockedItem recordOfImage() const {
    crashAt(CrashPoint::lockAfterMove);
    (void)Locker::setHiddenExtension(names_.finalPath);  // only looks suffer
    return {.id = names_.id,
            .displayName = names_.name,
            .kind = names_.kind,
            .bookmark = makeBookmark(names_.finalPath),
            .lastKnownPath = names_.finalPath,
            .createdAt = currentDate(),
            .passwordGeneration = key_.generation,
            .stage = LockedItem::Stage::originalPending,
            .originalPath = names_.item,
            .contentSize = contentSize_};
  }

  void commitRecord(const LockedItem& item) {
    if (const auto identity = FileIdentity::of(names_.finalPath)) entry_.lockedIdentity = identity;
    entry_.lockedAt = item.createdAt;
    writeEntry();
    locker_.index.upsert(item);
    crashAt(CrashPoint::lockAfterRename);
    locker_.flushVolume(names_.parent);
  }

  // Phase E: the item goes.

  void moveItemAside() {
    entry_.deletingPath = names_.deleting;
    writeEntry();
    Locker::renameExclusively(names_.item, names_.deleting);
    crashAt(CrashPoint::lockAfterRenameToDeleting);
  }

  void removeItemAside() const {
    locker_.deleteRenamedOriginal(names_.deleting);
    crashAt(CrashPoint::lockAfterDeleteOriginal);
  }

  /// The item is locked whatever happens here; the next start finds a lock that is done.
  void complete(LockedItem& item) const {
    item.stage = LockedItem::Stage::complete;
    item.originalPath = std::nullopt;
    (void)ignoringFailure([&] { locker_.index.upsert(item); });
    (void)ignoringFailure([&] { locker_.journal.remove(names_.id); });
  }

  // What all phases need.

  void writeEntry() const { locker_.journal.add(entry_); }

  void crashAt(CrashPoint point) const {
    if (crashPoint_ == point) throw SimulatedCrash();
  }

  /// The item has not been touched; all that was made for the lock goes.
  void undo() const {
    (void)ignoringFailure([this] { locker_.tool.detach(names_.mountPoint, DiskImageTool::Force::yes); });
    (void)removeEmptyFolder(names_.mountPoint);
    (void)ignoringFailure([this] { removeItem(names_.partial); });
    (void)ignoringFailure([this] { locker_.journal.remove(names_.id); });
  }

  /// The image is in its place and stays, and so does the journal's entry: the next start finishes what failed here.
  template <typename Steps>
  void reportingFailure(TavrineError (*error)(std::string), const Steps& steps) const {
    try {
      steps();
    } catch (const SimulatedCrash&) {
      throw;
    } catch (const std::exception&) {
      throw error(names_.name);
    }
  }

  const Locker& locker_;
  const Locker::LockKey& key_;
  const Locker::Cancel& cancel_;
  const Progress& progress_;
  const Names names_;
  JournalEntry entry_;
  int64_t contentSize_ = 0;
  Locker::MetadataSnapshot before_;
  std::optional<CrashPoint> crashPoint_;  ///< as it was when the image had been created
};

}  // namespace

LockedItem Locker::lock(const Path& url, const LockKey& key, const Cancel& cancel, const Progress& progress) const {
  return Lock({*this, key, cancel, progress}, checked(*this, url, cancel, progress)).run();
}

}  // namespace tavrine
