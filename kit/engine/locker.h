#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kit/engine/crash_point.h"
#include "kit/engine/lock_policy.h"
#include "kit/engine/lock_step.h"
#include "kit/engine/open_item.h"
#include "kit/engine/recovery_report.h"
#include "kit/records/item_index.h"
#include "kit/records/item_marker.h"
#include "kit/records/operation_journal.h"
#include "kit/tools/cancel_token.h"
#include "kit/tools/disk_image_tool.h"
#include "platform/exclusive_rename.h"
#include "platform/file_status.h"

namespace tavrine {

/// The engine: every operation that changes a locked item, or makes or ends one. A plain value without open files or
/// locks; what must survive a crash is in the files it names. Any thread may call a copy, but one changing operation
/// runs at a time in a support directory: whoever calls holds the `SupportLock` on it, and has called `recover` before
/// any other operation. Operations block, report to their callbacks on the calling thread and throw `TavrineError` for
/// what the user is told, the system's error otherwise, and `SimulatedCrash` at the crash point.
class Locker final {
 public:
  struct Places {
    Path supportDirectory;
    Path home;
    std::optional<Path> appBundle = std::nullopt;
  };
  using Cancel = std::shared_ptr<const CancelToken>;

  /// Writes nothing and never fails.
  Locker(const Places& places, DiskImageTool imageTool);

  const DiskImageTool tool;
  const ItemIndex index;           ///< "items.json"
  const OperationJournal journal;  ///< "operations.json"
  const Path mountsRoot;           ///< "Open"
  const LockPolicy policy;

  std::optional<CrashPoint> crashPoint;
  std::function<void()> afterVerify;                  ///< called by a lock, between verification and the second look
  std::function<void(const Path&)> afterRestoreCopy;  ///< called by a removal with the copy, before its verification
  std::function<void(const Path&)> flushVolume = fullSync;
  std::function<void(const Path&)> deleteRenamedOriginal = removeOwnedTree;
  int64_t spaceMargin = 250'000'000;  ///< bytes that must be free beyond the item's own
  double cloudDownloadTimeout = 300;  ///< seconds

  /// What an item is locked with.
  struct LockKey {
    const Password& password;
    int64_t generation;  ///< the password's number in the stored secret
  };

  /// Turns a file or folder into a locked item beside it. The item is removed only when its copy in the image has been
  /// verified and it has not changed meanwhile. Returns the item's record. `lockedButOriginalRemains` and
  /// `lockedButRemovalUnfinished` tell of an item that was locked all the same.
  LockedItem lock(const Path& url, const LockKey& key, const Cancel& cancel, const Progress& progress) const;

  /// Attaches the image of a locked item and returns where its contents are. One that is open already is returned as it
  /// is. An image without a record gets one.
  OpenItem unlock(const Path& lockedURL, const Password& password) const;

  /// The items whose images are attached, in the image tool's order.
  std::vector<OpenItem> openItems() const;

  /// Detaches the item's image and removes its mount point. `inUse` names who keeps it open; the item then stays open.
  void relock(const OpenItem& item, DiskImageTool::Force force) const;

  /// Writes records for images that are attached below the mounts root. Never fails.
  void adoptOpenItems(const std::vector<AttachedImage>& attached) const;

  /// Turns a locked item into an ordinary one and returns where that is. The image is deleted only when the restored
  /// copy has been verified and is in its place.
  Path removeLock(const Path& lockedURL, const Password& password, const Cancel& cancel,
                  const Progress& progress) const;

  /// Finishes or undoes what an earlier run left. Never fails; what cannot be settled is kept for the next start.
  RecoveryReport recover() const;

  /// Hides the extension of every locked image and gives images with a name of the earlier form their present one.
  /// Whether any was renamed.
  bool repairHiddenExtensions() const;

  /// Waits until the item's files are on this disk. Whether any had to be downloaded. Throws `cancelled` or
  /// `stillInICloud`.
  bool waitForCloudDownloads(const Path& url, const std::string& name, const Cancel& cancel,
                             const Progress& progress) const;

  /// The bytes that an unlocked image holds, without housekeeping. Never fails: what cannot be read counts as 0.
  static int64_t contentLogicalSize(const Path& mount, LockedItem::Kind kind, const std::string& name);

  /// A free place in `folder` for what is restored under `name`: the name itself or one with " (restored)".
  static Path restoreDestination(const std::string& name, const Path& folder);

  // Content checks: each throws the `TavrineError` that says why the item, named `name`, may not be locked.
  void refuseMountsInside(const Path& url, const std::string& name) const;
  static void refuseFinderLocked(const Path& url, const std::string& name);
  static void refuseAppleDoubleOrFinderLockedInside(const Path& url, const std::string& name);
  static void refuseHardLinkedFiles(const Path& url, const std::string& name);

  /// What a snapshot keeps of one item of a tree.
  struct EntryMetadata {
    FileType type = FileType::unknown;
    int64_t size = 0;  ///< bytes
    std::optional<FileTime> modified;
    bool operator==(const EntryMetadata&) const = default;
  };
  /// By path relative to the root, in its raw bytes; the root itself under the empty path.
  using MetadataSnapshot = std::map<std::string, EntryMetadata>;

  /// Reads attributes alone. Throws the system's or the walk's error for what cannot be examined.
  static MetadataSnapshot metadataSnapshot(const Path& root);

  // Names. Bytes in, bytes out; what is cut is cut by whole characters, and lengths are bytes.
  enum class Form { folder, fileOrPackage };

  static std::string lockedBaseName(const std::string& name, Form form);
  static Path availableLockedURL(const std::string& base, const Path& folder);
  static std::string volumeName(const std::string& name);
  static std::string itemName(const std::optional<ItemMarker>& marker, const std::optional<LockedItem>& record,
                              const Path& locked);
  static std::optional<std::string> unmigratedSuffix(std::string_view current, std::string_view displayName);
  static bool isPackageExtension(const std::string& extension);

  /// Whether the desktop now hides the extension; a failure is one line on standard error.
  static bool setHiddenExtension(const Path& url);
  static void setHiddenExtensionIfNeeded(const Path& url);

  // File-system primitives.

  /// Moves `source` to `destination` unless something is there. Throws `std::filesystem::filesystem_error` with the
  /// source's path; EEXIST where something is there. The new name is durable when this returns, as far as the folder
  /// can be synced.
  static void renameExclusively(const Path& source, const Path& destination,
                                const ExclusiveRename& exclusive = systemExclusiveRename);

  /// Clears what keeps the owner from deleting a tree. Never fails, follows no link, leaves no file system, changes no
  /// file with several names.
  static void makeDeletable(const Path& url);
  static void removeOwnedTree(const Path& url);

  /// Makes the volume that holds `url` durable.
  static void fullSync(const Path& url);

  /// Whether an access-control entry keeps the current user from deleting the item.
  static bool hasDenyDeleteACL(const Path& url);
  static bool isMountPoint(const Path& url);

  /// The free bytes at `url` for this user; nothing where that cannot be told.
  static std::optional<int64_t> availableSpace(const Path& url);
  void makeMountPoint(const Path& mountPoint) const;

  /// Copies a file, or the contents of a folder, with the copy tool. Throws `copyFailed` with what the tool said.
  static void copy(const Path& source, const Path& destination, const Cancel& cancel);

 private:
  Path migrateNameIfNeeded(const Path& url, const LockedItem& item) const;
};

}  // namespace tavrine
