#pragma once

#include <optional>

#include "platform/paths.h"
#include "platform/user_places.h"

namespace tavrine {

/// The folder that an environment variable names; nothing where it is not set or, as the desktop's base directory rule
/// has it, where its path is relative.
std::optional<Path> folderVariable(const char* name);

}  // namespace tavrine
