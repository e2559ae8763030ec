#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kit/engine/free_space.h"
#include "kit/engine/ignored_failure.h"
#include "kit/engine/locker.h"
#include "kit/engine/tree_verifier.h"
#include "kit/engine/undone_on_failure.h"
#include "kit/engine/volume_layout.h"
#include "kit/errors/tavrine_error.h"
#include "kit/records/locked_extension.h"
#include "platform/file_items.h"
#include "platform/folder_attributes.h"

namespace tavrine {
namespace {

using Kind = LockedItem::Kind;

constexpr uint32_t ownerOnly = 0700;

/// A locked image as it is before anything is done with it.
struct LockedImage {
  Path url;
  FileIdentity identity;
  std::optional<LockedItem> record;

  static LockedImage at(const Locker& locker, const Path& lockedURL);
};

LockedImage LockedImage::at(const Locker& locker, const Path& lockedURL) {
  const Path url = withoutSlashAtEnd(lockedURL);
  if (pathExtension(url) != lockedExtension) throw TavrineError::notLocked();
  const auto identity = FileIdentity::of(url);
  if (!fileExists(url) || !identity) throw TavrineError::notFound();
  return {url, *identity, locker.index.item(url)};
}

void lockAgainIfOpen(const Locker& locker, const LockedImage& image) {
  const auto isImage = [&image, path = canonicalPath(image.url)](const OpenItem& item) {
    return image.record ? item.id == image.record->id : canonicalPath(item.lockedURL) == path;
  };
  const std::vector<OpenItem> items = locker.openItems();
  const auto found = std::find_if(items.begin(), items.end(), isImage);
  if (found != items.end()) locker.relock(*found, DiskImageTool::Force::no);
}

/// The removal of one lock, from its first write on. Runs once.
class Removal final {
 public:
  struct Caller {
    const Locker& locker;
    const Password& password;
    const Locker::Cancel& cancel;
    const Progress& progress;
  };

  Removal(const Caller& caller, LockedImage image)
      : locker_(caller.locker),
        password_(caller.password),
        cancel_(caller.cancel),
        progress_(caller.progress),
        image_(std::move(image)),
        id_(image_.record ? image_.record->id : Uuid::random()),
        parent_(image_.url.parent_path()),
        partial_(parent_ / (".tavrine-" + id_.text() + ".restoring")),
        mountPoint_(locker_.mountsRoot / id_.text()),
        entry_{.id = id_,
               .kind = JournalEntry::Kind::restore,
               .originalPath = image_.url,
               .partialPath = partial_,
               .finalPath = {},
               .lockedIdentity = image_.identity} {}

  Path run() {
    writeEntry();
    const auto steps = [this] {
      attachImage();
      readItem();
      requireFreeSpace(locker_, ItemFacts::allocatedSize(source_), parent_);
      copyBack();
      verifyCopy();
      makeCopyWhole();
      moveIntoPlace();
    };
    undoneOnFailure(steps, [this] { undo(); });
    removeImage();
    locker_.index.remove(id_);
    locker_.journal.remove(id_);
    progress_(LockStep::finishing);
    return entry_.finalPath;
  }

 private:
  void attachImage() const {
    locker_.makeMountPoint(mountPoint_);
    locker_.tool.attach({image_.url, mountPoint_, password_, DiskImageTool::Access::readOnly});
  }

  void readItem() {
    const auto marker = ItemMarker::read(mountPoint_);
    name_ = Locker::itemName(marker, image_.record, image_.url);
    kind_ = marker ? marker->kind : image_.record ? image_.record->kind : Kind::folder;
    source_ = VolumeLayout::contents(mountPoint_, kind_, name_);
  }

  void copyBack() const {
    if (kind_ == Kind::folder) {
      copyFolderBack();
    } else {
      Locker::copy(source_, partial_, cancel_);
    }
    crashAt(CrashPoint::restoreAfterCopy);
    if (locker_.afterRestoreCopy) locker_.afterRestoreCopy(partial_);
  }

  /// Entry by entry, because housekeeping stays behind.
  void copyFolderBack() const {
    createFolder(partial_, ownerOnly);
    for (const std::string& name : namesIn(mountPoint_)) {
      if (VolumeLayout::housekeeping().contains(name)) continue;
      const Path from = mountPoint_ / name;
      if (ItemFacts::inspect(from).isSymlink) {
        copyLink(from, partial_ / name);
      } else {
        Locker::copy(from, partial_ / name, cancel_);
      }
    }
  }

  void verifyCopy() const {
    progress_(LockStep::verifying);
    auto mismatches = TreeVerifier::compare(source_, partial_, VolumeLayout::ignoredAtRoot(kind_), cancel_);
    if (!mismatches.empty()) throw TavrineError::restoreVerificationFailed(std::move(mismatches));
  }

  /// What the verification does not look at: the folder's own attributes, and whether the copy outlives a power cut. A
  /// rename may reach the disk before the data does, and the image is deleted soon after it.
  void makeCopyWhole() const {
    if (kind_ == Kind::folder) applyFolderAttributes(mountPoint_, partial_);
    Locker::fullSync(parent_);
  }

  void moveIntoPlace() {
    entry_.finalPath = Locker::restoreDestination(name_, parent_);
    writeEntry();
    crashAt(CrashPoint::restoreBeforeRename);
    moveItem(partial_, entry_.finalPath);
  }

  /// The item is restored: a failure from here on undoes nothing, and the next start finishes what the journal says.
  void removeImage() const {
    crashAt(CrashPoint::restoreAfterRename);
    locker_.tool.detach(mountPoint_);
    (void)removeEmptyFolder(mountPoint_);
    requireSameImage();
    removeItem(image_.url);
    crashAt(CrashPoint::restoreAfterDeleteLocked);
  }

  /// Copying back takes its time; whatever took the image's place meanwhile is not ours to delete.
  void requireSameImage() const {
    if (FileIdentity::of(image_.url) == image_.identity) return;
    throw std::filesystem::filesystem_error("is not the image that was restored", image_.url,
                                            std::make_error_code(std::errc::no_such_file_or_directory));
  }

  void writeEntry() const { locker_.journal.add(entry_); }

  void crashAt(CrashPoint point) const {
    if (locker_.crashPoint == point) throw SimulatedCrash();
  }

  /// The image and its record are as they were; all that was made for the removal goes.
  void undo() {
    (void)ignoringFailure([this] { locker_.tool.detach(mountPoint_, DiskImageTool::Force::yes); });
    (void)removeEmptyFolder(mountPoint_);
    if (!forgetDestination()) return;
    (void)ignoringFailure([this] { removeItem(partial_); });
    (void)ignoringFailure([this] { locker_.journal.remove(id_); });
  }

  /// An entry that names a destination and has no partial copy any more reads as a removal that is done, and the next
  /// start would delete the image for whatever is at that destination. So the copy goes only once the entry names none.
  bool forgetDestination() {
    if (entry_.finalPath.empty()) return true;
    entry_.finalPath.clear();
    return ignoringFailure([this] { writeEntry(); });
  }

  const Locker& locker_;
  const Password& password_;
  const Locker::Cancel& cancel_;
  const Progress& progress_;
  const LockedImage image_;
  const Uuid id_;
  const Path parent_;
  const Path partial_;
  const Path mountPoint_;
  JournalEntry entry_;
  std::string name_;  ///< this and the next two as the volume says, once it is attached
  Kind kind_ = Kind::folder;
  Path source_;  ///< the item in the volume
};

}  // namespace

Path Locker::removeLock(const Path& lockedURL, const Password& password, const Cancel& cancel,
                        const Progress& progress) const {
  LockedImage image = LockedImage::at(*this, lockedURL);
  lockAgainIfOpen(*this, image);
  progress(LockStep::restoring);
  return Removal({*this, password, cancel, progress}, std::move(image)).run();
}

Path Locker::restoreDestination(const std::string& name, const Path& folder) {
  const Path wanted = folder / name;
  if (!fileExists(wanted)) return wanted;
  const std::string extension = pathExtension(wanted);
  const std::string base = extension.empty() ? name : name.substr(0, name.size() - extension.size() - 1);
  for (int64_t number = 1;; ++number) {
    const std::string suffix = number == 1 ? " (restored)" : " (restored " + std::to_string(number) + ")";
    Path candidate = folder / (base + suffix + (extension.empty() ? "" : "." + extension));
    if (!fileExists(candidate)) return candidate;
  }
}

}  // namespace tavrine
