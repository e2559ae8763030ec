#include "platform/volume.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string_view>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/mount_table.h"
#include "platform/path_relation.h"

namespace tavrine {
namespace {

constexpr std::array<std::string_view, 17> networkTypes = {
    "nfs", "nfs4",   "cifs",   "smb3", "smbfs", "ncpfs", "afs",       "coda",  "ceph",
    "9p",  "lustre", "beegfs", "gpfs", "pvfs2", "davfs", "glusterfs", "sshfs",
};

constexpr std::array<std::string_view, 30> networkSubtypes = {
    "sshfs",         "rclone",    "s3fs",       "davfs",    "davfs2",    "glusterfs", "ceph",
    "ceph-fuse",     "curlftpfs", "gvfsd-fuse", "kio-fuse", "gcsfuse",   "goofys",    "mount-s3",
    "mountpoint-s3", "juicefs",   "seaweedfs",  "blobfuse", "blobfuse2", "mfs",       "moosefs",
    "lizardfs",      "cvmfs2",    "smbnetfs",   "fuse_nfs", "fusesmb",   "onedriver", "google-drive-ocamlfuse",
    "geesefs",       "hdfs",
};

bool isNetwork(const Mount& mount) {
  constexpr std::string_view fuse = "fuse.";
  const std::string_view type = mount.type;
  if (type.starts_with(fuse)) return std::ranges::count(networkSubtypes, type.substr(fuse.size())) > 0;
  // A helper that gives no subtype shows the address it serves.
  if (type == "fuse") return mount.source.find("://") != std::string::npos;
  return std::ranges::count(networkTypes, type) > 0;
}

/// The mount that shows what is at `place`: the innermost above it, of several on one place the last.
std::optional<Mount> mountOf(const Path& place) {
  std::optional<Mount> found;
  for (Mount& mount : mountTable()) {
    if (!isAtOrBelow(place.native(), mount.mountPoint.native())) continue;
    if (!found || mount.mountPoint.native().size() >= found->mountPoint.native().size()) found = std::move(mount);
  }
  return found;
}

/// Where the item itself is, a link not followed.
Path placeOf(const Path& url) {
  const Path item = standardizedPath(std::filesystem::absolute(url));
  return item.has_relative_path() ? realPath(item.parent_path()) / item.filename() : item;
}

}  // namespace

VolumeFacts volumeFacts(const Path& url) {
  VolumeFacts facts;
  struct statx status {};
  if (::statx(AT_FDCWD, url.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, 0, &status) != 0) return facts;
  if ((status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0) {
    facts.isRoot = (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  }
  try {
    if (const auto mount = mountOf(placeOf(url))) facts.isLocal = !isNetwork(*mount);
  } catch (const std::filesystem::filesystem_error&) {
    return facts;  // without a table of mounts the question stays open
  }
  return facts;
}

std::optional<int64_t> availableCapacity(const Path& url) {
  struct statvfs volume {};
  while (::statvfs(url.c_str(), &volume) != 0) {
    if (errno != EINTR) return std::nullopt;
  }
  constexpr int64_t most = std::numeric_limits<int64_t>::max();
  uint64_t bytes = 0;
  if (__builtin_mul_overflow(volume.f_bavail, volume.f_frsize, &bytes)) return most;
  return static_cast<int64_t>(std::min(bytes, static_cast<uint64_t>(most)));
}

std::optional<uint64_t> deviceOf(const Path& path) {
  struct stat status {};
  if (::stat(path.empty() ? "." : path.c_str(), &status) != 0) return std::nullopt;
  return status.st_dev;
}

void syncVolume(const Path& path) {
  const auto fail = [&path](const char* what) {
    throw std::filesystem::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
  };
  // Without O_NONBLOCK a fifo would wait for a writer.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen()) fail("cannot open");
  if (::syncfs(file.get()) == 0) return;
  // Data that could not be written is lost, however well the sync of this one folder goes.
  if (errno == EIO || errno == ENOSPC || errno == EDQUOT) fail("cannot sync");
  if (::fsync(file.get()) != 0) fail("cannot sync");
}

bool isDeadMount(const Path& url) {
  struct stat status {};
  return ::stat(url.c_str(), &status) != 0 && errno == ENOTCONN;
}

std::vector<Path> mountPointsAtOrBelow(const Path& folder) {
  const Path place = withoutSlashAtEnd(folder);
  std::vector<Path> found;
  for (const Mount& mount : mountTable()) {
    if (isAtOrBelow(mount.mountPoint.native(), place.native())) found.push_back(mount.mountPoint);
  }
  return found;
}

}  // namespace tavrine
