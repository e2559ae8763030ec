#include "platform/folder_attributes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/linux/extended_attributes.h"
#include "platform/linux/file_descriptor.h"

namespace tavrine {
namespace {

// "user.tavrine.folder" holds, as decimal numbers, the version and then what `Basics` lists. An extended attribute is
// kept in one of its own, "user.tavrine.folder.1" and so on: its name, a NUL, its value. So no length of a name makes
// it impossible to keep. The first is written last: where it is, the others are.
constexpr const char* keptName = "user.tavrine.folder";
constexpr int version = 1;

struct Basics {
  uint32_t mode = 0;
  uint32_t user = 0;
  uint32_t group = 0;
  std::array<timespec, 2> times{};  ///< of access and modification
  size_t attributes = 0;
};

[[noreturn]] void fail(const char* what, const Path& path, int error) {
  throw std::filesystem::filesystem_error(what, path, std::error_code(error, std::generic_category()));
}

std::string nameOfKept(size_t number) {
  return std::string(keptName) + "." + std::to_string(number);
}

bool isKept(const std::string& name) {
  return name == keptName || name.starts_with(std::string(keptName) + ".");
}

FileDescriptor openFolder(const Path& folder) {
  FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened.isOpen()) fail("cannot open", folder, errno);
  return opened;
}

std::string textOf(const Basics& basics) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << version << ' ' << basics.mode << ' ' << basics.user << ' ' << basics.group;
  for (const timespec& time : basics.times) text << ' ' << time.tv_sec << ' ' << time.tv_nsec;
  text << ' ' << basics.attributes;
  return text.str();
}

std::optional<Basics> parse(const std::string& value) {
  std::istringstream text(value);
  text.imbue(std::locale::classic());
  int found = 0;
  Basics basics;
  text >> found >> basics.mode >> basics.user >> basics.group;
  for (timespec& time : basics.times) text >> time.tv_sec >> time.tv_nsec;
  text >> basics.attributes;
  if (!text || !text.eof() || found != version) return std::nullopt;
  return basics;
}

/// The names of what a folder's owner gave it.
std::vector<std::string> namesToKeep(const FileDescriptor& folder, const Path& path) {
  auto names = attributeNames(folder.get());
  if (!names) fail("cannot list the extended attributes of", path, errno);
  std::erase_if(*names, [](const std::string& name) { return !isGivenByOwner(name) || isKept(name); });
  return *names;
}

/// What the copy tool gave the root of the volume may keep even its owner from writing there.
void makeWritable(const FileDescriptor& root) {
  struct stat status {};
  if (::fstat(root.get(), &status) != 0 || (status.st_mode & S_IRWXU) == S_IRWXU) return;
  (void)::fchmod(root.get(), (status.st_mode & 07777) | S_IRWXU);  // what cannot be written then tells
}

/// The mode of a folder that is made without asking for another. Setting the mask to read it would change it for the
/// whole process meanwhile.
mode_t usualMode() {
  std::ifstream status("/proc/self/status");
  constexpr std::string_view key = "Umask:";
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(key)) return 0777 & ~static_cast<mode_t>(std::strtoul(line.c_str() + key.size(), nullptr, 8));
  }
  return S_IRWXU;
}

bool changeOwner(const FileDescriptor& folder, const Path& path, uid_t user, gid_t group) {
  if (::fchown(folder.get(), user, group) == 0) return true;
  // EINVAL: an identifier that has no meaning in this user namespace.
  if (errno != EPERM && errno != EINVAL) fail("cannot change the owner of", path, errno);
  return false;
}

/// The bits of the mode that may be set after the owner was given as far as possible: a folder of this user must not
/// lend his rights because it lent another's.
mode_t giveOwner(const FileDescriptor& folder, const Path& path, const Basics& basics) {
  constexpr uid_t sameUser = static_cast<uid_t>(-1);
  if (changeOwner(folder, path, basics.user, basics.group)) return 07777;
  if (changeOwner(folder, path, sameUser, basics.group)) return 07777 & ~S_ISUID;
  // The group may have come from the folder around it.
  (void)changeOwner(folder, path, sameUser, ::getegid());
  return 07777 & ~(S_ISUID | S_ISGID);
}

struct Attribute {
  std::string name;
  std::string value;
};

std::vector<Attribute> keptAttributes(const FileDescriptor& root, const Path& path, size_t count) {
  std::vector<Attribute> attributes;
  for (size_t number = 1; number <= count; ++number) {
    const auto kept = attributeValue(root.get(), nameOfKept(number));
    if (!kept) fail("cannot read the attributes kept at", path, errno);
    const size_t end = kept->find('\0');
    if (end == std::string::npos) fail("cannot read the attributes kept at", path, EBADMSG);
    attributes.push_back({kept->substr(0, end), kept->substr(end + 1)});
  }
  return attributes;
}

/// Access-control lists last: they may take away the right to set the others.
void giveAttributes(const FileDescriptor& folder, const Path& path, const std::vector<Attribute>& attributes) {
  for (const bool isList : {false, true}) {
    for (const Attribute& attribute : attributes) {
      if (isAccessControlList(attribute.name) != isList) continue;
      if (!setAttribute(folder.get(), attribute.name, attribute.value) && errno != EPERM) {
        fail("cannot set an extended attribute of", path, errno);
      }
    }
  }
}

/// Takes away what the folder got from the one around it, or from the copy of a volume's root.
void removeForeignAttributes(const FileDescriptor& folder, const Path& path) {
  const auto names = attributeNames(folder.get());
  if (!names) fail("cannot list the extended attributes of", path, errno);
  for (const std::string& name : *names) {
    if (!isAccessControlList(name) && !isKept(name)) continue;
    if (!removeAttribute(folder.get(), name)) fail("cannot remove an extended attribute of", path, errno);
  }
}

}  // namespace

void keepFolderAttributes(const Path& folder, const Path& volumeRoot) {
  const FileDescriptor from = openFolder(folder);
  const FileDescriptor to = openFolder(volumeRoot);
  struct stat status {};
  if (::fstat(from.get(), &status) != 0) fail("cannot examine", folder, errno);
  makeWritable(to);
  Basics basics{.mode = status.st_mode & 07777,
                .user = status.st_uid,
                .group = status.st_gid,
                .times = {status.st_atim, status.st_mtim}};
  const auto keep = [&](const std::string& name, const std::string& value) {
    if (!setAttribute(to.get(), name, value)) fail("cannot keep the folder's attributes at", volumeRoot, errno);
  };
  for (const std::string& name : namesToKeep(from, folder)) {
    const auto value = attributeValue(from.get(), name);
    if (!value) fail("cannot read an extended attribute of", folder, errno);
    keep(nameOfKept(++basics.attributes), name + '\0' + *value);
  }
  keep(keptName, textOf(basics));
}

void applyFolderAttributes(const Path& volumeRoot, const Path& folder) {
  const FileDescriptor from = openFolder(volumeRoot);
  const FileDescriptor to = openFolder(folder);
  const auto kept = attributeValue(from.get(), keptName);
  if (!kept && errno != ENODATA && errno != ENOTSUP) fail("cannot read the attributes kept at", volumeRoot, errno);
  const auto basics = kept ? parse(*kept) : std::nullopt;
  if (kept && !basics) fail("cannot read the attributes kept at", volumeRoot, EBADMSG);
  makeWritable(to);
  if (!basics) {
    if (::fchmod(to.get(), usualMode()) != 0) fail("cannot change the mode of", folder, errno);
    return;
  }
  const std::vector<Attribute> attributes = keptAttributes(from, volumeRoot, basics->attributes);
  const mode_t allowed = giveOwner(to, folder, *basics);
  removeForeignAttributes(to, folder);
  giveAttributes(to, folder, attributes);
  if (::fchmod(to.get(), basics->mode & allowed) != 0) fail("cannot change the mode of", folder, errno);
  if (::futimens(to.get(), basics->times.data()) != 0) fail("cannot set the times of", folder, errno);
}

}  // namespace tavrine
