#pragma once

#include <optional>

#include "platform/paths.h"

namespace tavrine {

/// The home folder of the user; nothing where the user has none.
std::optional<Path> homeFolder();

/// Where the user's programs keep their data; nothing where the user has no home folder.
std::optional<Path> dataFolder();

}  // namespace tavrine
