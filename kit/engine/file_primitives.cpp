#include <system_error>

#include "kit/engine/access_control_text.h"
#include "kit/engine/locker.h"
#include "kit/errors/tavrine_error.h"
#include "kit/tools/process_runner.h"
#include "platform/access_control.h"
#include "platform/file_items.h"
#include "platform/file_manager.h"
#include "platform/private_folder.h"
#include "platform/system.h"
#include "platform/volume.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

bool isUnsupported(const std::error_code& error) {
  return error == std::errc::invalid_argument || error == std::errc::not_supported ||
         error == std::errc::operation_not_supported;
}

/// The rename of a volume that has no exclusive one.
std::error_code renameToAbsentName(const Path& source, const Path& destination) {
  try {
    (void)statusOf(destination);
    return std::make_error_code(std::errc::file_exists);
  } catch (const fs::filesystem_error& error) {
    if (error.code() != std::errc::no_such_file_or_directory) return error.code();
  }
  std::error_code error;
  fs::rename(source, destination, error);
  return error;
}

}  // namespace

void Locker::renameExclusively(const Path& source, const Path& destination, const ExclusiveRename& exclusive) {
  // A slash at the end would have a link at the destination followed.
  const Path from = withoutSlashAtEnd(source);
  const Path to = withoutSlashAtEnd(destination);
  std::error_code error(exclusive(from, to), std::generic_category());
  if (isUnsupported(error)) error = renameToAbsentName(from, to);
  if (error) throw fs::filesystem_error("cannot rename", source, error);
  syncFolder(to.parent_path());
  if (to.parent_path() != from.parent_path()) syncFolder(from.parent_path());
}

void Locker::makeDeletable(const Path& url) {
  makeTreeDeletable(url);
}

void Locker::removeOwnedTree(const Path& url) {
  makeDeletable(url);
  removeItem(url);
}

void Locker::fullSync(const Path& url) {
  syncVolume(url);
}

bool Locker::hasDenyDeleteACL(const Path& url) {
  const auto text = accessControlText(url);
  return text && deniesDeletion(*text, {currentUserName(), currentUserUUID, isMember});
}

bool Locker::isMountPoint(const Path& url) {
  const auto device = deviceOf(url);
  const auto above = deviceOf(withoutSlashAtEnd(url).parent_path());
  return device && above && *device != *above;
}

std::optional<int64_t> Locker::availableSpace(const Path& url) {
  return availableCapacity(url);
}

void Locker::makeMountPoint(const Path& mountPoint) const {
  // Where that fails, a second try tells why.
  if (!createPrivateFolders(mountsRoot)) createFolder(mountsRoot, 0700);
  createDirectories(mountPoint);
}

void Locker::copy(const Path& source, const Path& destination, const Cancel& cancel) {
  const ProcessResult result =
      ProcessRunner::run(toolPath("ditto"), {source.string(), destination.string()}, {.cancel = cancel});
  if (result.status != 0) throw TavrineError::copyFailed(DiskImageTool::clean(result.output));
}

}  // namespace tavrine
