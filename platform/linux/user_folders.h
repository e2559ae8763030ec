#pragma once

#include <optional>

#include "platform/paths.h"

namespace tavrine {

/// The folder that an environment variable names; nothing where it is not set or, as the desktop's base directory rule
/// has it, where its path is relative.
std::optional<Path> folderVariable(const char* name);

/// The home folder of the user; nothing where the user has none.
std::optional<Path> homeFolder();

}  // namespace tavrine
