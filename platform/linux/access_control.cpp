#include "platform/access_control.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace tavrine {
namespace {

constexpr std::string_view userPrefix = "FFFFEEEE-DDDD-CCCC-BBBB-AAAA";
constexpr std::string_view groupPrefix = "ABCDEFAB-CDEF-ABCD-EFAB-CDEF";

std::optional<uint32_t> numberBehind(std::string_view prefix, const std::string& text) {
  if (!text.starts_with(prefix)) return std::nullopt;
  return static_cast<uint32_t>(std::strtoul(text.c_str() + prefix.size(), nullptr, 16));
}

struct User {
  std::string name;
  gid_t group;
};

std::optional<User> userOf(uid_t number) {
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  constexpr size_t most = 1 << 20;
  while (::getpwuid_r(number, &entry, buffer.data(), buffer.size(), &found) == ERANGE && buffer.size() < most) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr) return std::nullopt;
  return User{found->pw_name, found->pw_gid};
}

std::vector<gid_t> groupsOf(const User& user) {
  std::vector<gid_t> groups(32);
  int count = static_cast<int>(groups.size());
  while (::getgrouplist(user.name.c_str(), user.group, groups.data(), &count) < 0) {
    // The list may have grown since it was counted.
    groups.resize(std::max(static_cast<size_t>(count), groups.size() * 2));
    count = static_cast<int>(groups.size());
  }
  groups.resize(static_cast<size_t>(count));
  return groups;
}

}  // namespace

std::optional<std::string> accessControlText(const Path&) {
  return std::nullopt;  // the lists of this system only allow
}

std::string currentUserName() {
  const auto user = userOf(::getuid());
  return user ? user->name : std::string();
}

std::optional<Uuid> currentUserUUID() {
  std::array<char, 9> digits{};
  (void)std::snprintf(digits.data(), digits.size(), "%08X", ::getuid());  // always fits
  return Uuid::parse(std::string(userPrefix) + digits.data());
}

bool isMember(std::string_view groupGUID, const Uuid& user) {
  const auto group = Uuid::parse(groupGUID);
  const auto groupNumber = group ? numberBehind(groupPrefix, group->text()) : std::nullopt;
  const auto userNumber = numberBehind(userPrefix, user.text());
  const auto found = userNumber ? userOf(*userNumber) : std::nullopt;
  if (!groupNumber || !found) return false;
  const std::vector<gid_t> groups = groupsOf(*found);
  return std::ranges::find(groups, *groupNumber) != groups.end();
}

}  // namespace tavrine
