#include "platform/linux/programs/ditto/attributes.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/programs/ditto/copy_error.h"
#include "platform/linux/programs/ditto/extended_attributes.h"

namespace tavrine {
namespace {

constexpr uid_t sameUser = static_cast<uid_t>(-1);

bool changeOwner(const OpenItem& item, uid_t user, gid_t group) {
  if (::fchownat(item.fd(), "", user, group, AT_EMPTY_PATH) == 0) return true;
  // EINVAL: an identifier that has no meaning in this user namespace.
  if (errno == EPERM || errno == EINVAL) return false;
  fail(Side::destination, "owner");
}

/// The bits of the mode that may be set on `item` after its owner was given as far as possible.
mode_t giveOwner(const OpenItem& item, const struct stat& status) {
  if (changeOwner(item, status.st_uid, status.st_gid)) return 07777;
  if (changeOwner(item, sameUser, status.st_gid)) return 07777 & ~S_ISUID;
  // The group may have come from the folder around it.
  (void)changeOwner(item, sameUser, ::getegid());
  return 07777 & ~(S_ISUID | S_ISGID);
}

void setMode(const OpenItem& item, mode_t mode) {
  const int result = item.isNamedOnly() ? ::chmod(item.path(), mode) : ::fchmod(item.fd(), mode);
  if (result != 0) fail(Side::destination, "mode");
}

void setTimes(const OpenItem& item, const struct stat& status) {
  const timespec times[] = {status.st_atim, status.st_mtim};
  const int result = item.isNamedOnly() ? ::utimensat(AT_FDCWD, item.path(), times, 0) : ::futimens(item.fd(), times);
  if (result != 0) fail(Side::destination, "times");
}

}  // namespace

std::string_view copyAttributes(const OpenItem& from, const OpenItem& to, const struct stat& status) {
  const mode_t mode = status.st_mode & 07777;
  const mode_t kept = mode & giveOwner(to, status);
  copyExtendedAttributes(from, to);
  if (!S_ISLNK(status.st_mode)) setMode(to, kept);
  setTimes(to, status);
  if (mode == kept || S_ISLNK(status.st_mode)) return "";
  return "the set-user-ID or set-group-ID bit was left out: the owner could not be kept";
}

bool isChanged(const struct stat& before, const struct stat& after) {
  const auto differ = [](const timespec& one, const timespec& other) {
    return one.tv_sec != other.tv_sec || one.tv_nsec != other.tv_nsec;
  };
  if (before.st_size != after.st_size || differ(before.st_mtim, after.st_mtim)) return true;
  // A folder's own attributes are read last; a file's have been read by now.
  return !S_ISDIR(before.st_mode) && differ(before.st_ctim, after.st_ctim);
}

}  // namespace tavrine
