#include "platform/linux/extended_attributes.h"

#include <linux/limits.h>
#include <sys/types.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace tavrine {
namespace {

/// What a call of the kind "fill this buffer, return the length" gives.
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

}  // namespace

std::optional<std::vector<std::string>> attributeNames(int file) {
  const auto list = filled([file](char* buffer, size_t size) { return ::flistxattr(file, buffer, size); });
  std::vector<std::string> names;
  if (!list && errno == ENOTSUP) return names;
  if (!list) return std::nullopt;
  for (size_t start = 0; start < list->size(); start += names.back().size() + 1) {
    names.emplace_back(list->c_str() + start);
  }
  return names;
}

std::optional<std::string> attributeValue(int file, const std::string& name) {
  return filled([&](char* buffer, size_t size) { return ::fgetxattr(file, name.c_str(), buffer, size); });
}

bool setAttribute(int file, const std::string& name, std::string_view value) {
  return ::fsetxattr(file, name.c_str(), value.data(), value.size(), 0) == 0;
}

bool removeAttribute(int file, const std::string& name) {
  return ::fremovexattr(file, name.c_str()) == 0 || errno == ENODATA || errno == ENOTSUP;
}

bool isAccessControlList(std::string_view name) {
  return name == "system.posix_acl_access" || name == "system.posix_acl_default";
}

bool isGivenByOwner(std::string_view name) {
  constexpr std::array<std::string_view, 6> others = {"security.selinux", "security.SMACK64", "security.apparmor",
                                                      "security.ima",     "security.evm",     "system."};
  const auto begins = [name](std::string_view prefix) { return name.starts_with(prefix); };
  return isAccessControlList(name) || std::ranges::none_of(others, begins);
}

}  // namespace tavrine
