#include "platform/linux/programs/ditto/extended_attributes.h"

#include <linux/limits.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/linux/programs/ditto/copy_error.h"
#include "platform/text.h"

namespace tavrine {
namespace {

constexpr const char* accessList = "system.posix_acl_access";
constexpr const char* defaultList = "system.posix_acl_default";

bool isAccessControlList(std::string_view name) {
  return name == accessList || name == defaultList;
}

/// Every attribute but those that the system itself gives to the copy.
bool isOrdinary(std::string_view name) {
  constexpr std::array<std::string_view, 5> givenBySystem = {"security.selinux", "security.SMACK64",
                                                             "security.apparmor", "security.ima", "security.evm"};
  const auto begins = [name](std::string_view prefix) { return name.starts_with(prefix); };
  return !isAccessControlList(name) && std::ranges::none_of(givenBySystem, begins);
}

/// What a call of the kind "fill this buffer, return the length" gives; nothing with errno set where it fails.
template <typename Call>
std::optional<std::string> filled(Call call) {
  for (const size_t size : {size_t{1024}, size_t{XATTR_SIZE_MAX}}) {
    std::string bytes(size, '\0');
    const ssize_t length = call(bytes.data(), bytes.size());
    if (length >= 0) return bytes.substr(0, static_cast<size_t>(length));
    if (errno != ERANGE) break;
  }
  return std::nullopt;
}

std::vector<std::string> namesOf(const OpenItem& item) {
  const auto list = filled([&item](char* buffer, size_t size) {
    return item.isNamedOnly() ? ::listxattr(item.path(), buffer, size) : ::flistxattr(item.fd(), buffer, size);
  });
  if (!list && errno == ENOTSUP) return {};
  if (!list) fail(Side::source, "extended attributes");
  std::vector<std::string> names;
  for (size_t start = 0; start < list->size(); start += names.back().size() + 1) {
    names.emplace_back(list->c_str() + start);
  }
  return names;
}

std::string describe(const std::string& name) {
  return isAccessControlList(name) ? "access-control list" : "extended attribute " + repairedUtf8(name);
}

void copyOne(const std::string& name, const OpenItem& from, const OpenItem& to) {
  const auto value = filled([&](char* buffer, size_t size) {
    return from.isNamedOnly() ? ::getxattr(from.path(), name.c_str(), buffer, size)
                              : ::fgetxattr(from.fd(), name.c_str(), buffer, size);
  });
  if (!value) throw CopyError(Side::source, errno, describe(name));
  const int result = to.isNamedOnly() ? ::setxattr(to.path(), name.c_str(), value->data(), value->size(), 0)
                                      : ::fsetxattr(to.fd(), name.c_str(), value->data(), value->size(), 0);
  if (result != 0) throw CopyError(Side::destination, errno, describe(name));
}

}  // namespace

void copyExtendedAttributes(const OpenItem& from, const OpenItem& to) {
  const std::vector<std::string> names = namesOf(from);
  for (const std::string& name : names) {
    if (isOrdinary(name)) copyOne(name, from, to);
  }
  for (const std::string& name : names) {
    if (isAccessControlList(name)) copyOne(name, from, to);
  }
}

void removeAccessControlLists(const OpenItem& item) {
  for (const char* name : {accessList, defaultList}) {
    const int result = item.isNamedOnly() ? ::removexattr(item.path(), name) : ::fremovexattr(item.fd(), name);
    if (result != 0 && errno != ENODATA && errno != ENOTSUP) fail(Side::destination, "access-control list");
  }
}

}  // namespace tavrine
