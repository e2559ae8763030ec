#include "kit/engine/access_control_text.h"

#include <algorithm>
#include <vector>

namespace tavrine {
namespace {

/// Empty parts stay.
std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

enum Field { tag, guid, name, number, action, permissions, fieldCount };

bool isDenialOfDeletion(const std::vector<std::string_view>& fields) {
  if (fields.size() != fieldCount || fields[action] != "deny") return false;
  const std::vector<std::string_view> denied = split(fields[permissions], ',');
  return std::ranges::find(denied, "delete") != denied.end();
}

}  // namespace

bool deniesDeletion(std::string_view aclText, const AccessLookups& lookups) {
  std::optional<std::optional<Uuid>> user;
  const auto isMember = [&](std::string_view group) {
    if (!user) user = lookups.userUUID();
    return *user && lookups.isMember(group, **user);
  };
  for (const std::string_view line : split(aclText, '\n')) {
    const std::vector<std::string_view> fields = split(line, ':');
    if (!isDenialOfDeletion(fields)) continue;
    if (fields[name] == "everyone" || fields[name] == lookups.userName) return true;
    if (fields[tag] == "group" && isMember(fields[guid])) return true;
  }
  return false;
}

}  // namespace tavrine
