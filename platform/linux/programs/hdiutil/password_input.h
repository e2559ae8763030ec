#pragma once

#include <utility>

#include "platform/password.h"

namespace tavrine {

/// The password that standard input holds, all of it up to its end. Throws `ToolError` for one that no image can have.
Password readPassword();

/// The two passwords of a change, each with a NUL behind it and nothing after. Throws like `readPassword`.
std::pair<Password, Password> readOldAndNewPassword();

}  // namespace tavrine
