#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/paths.h"
#include "platform/uuid.h"

namespace tavrine {

/// The text of the item's own access-control list, a link not followed; nothing where it has none that could deny
/// anything.
std::optional<std::string> accessControlText(const Path& path);

/// The short name of the user this process acts for; empty where the user has none.
std::string currentUserName();

/// The identifier that access-control lists know the current user by; nothing where there is none.
std::optional<Uuid> currentUserUUID();

/// Whether the user is a member of the group, each known by such an identifier. False for any other text or identifier
/// and where it cannot be told.
bool isMember(std::string_view groupGUID, const Uuid& user);

}  // namespace tavrine
