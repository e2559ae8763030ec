#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/uuid.h"

namespace tavrine {

/// What an access-control list is judged by. The user's identifier is asked for when a line first needs it, and once.
struct AccessLookups {
  std::string userName;
  std::function<std::optional<Uuid>()> userUUID;
  std::function<bool(std::string_view groupGUID, const Uuid& user)> isMember;
};

/// Whether a line of an access-control list, as the system writes it out, denies the deletion of the item itself to the
/// user: to everyone, to him by name, or to a group of his. Lines of another form take no part.
bool deniesDeletion(std::string_view aclText, const AccessLookups& lookups);

}  // namespace tavrine
