#pragma once

#include <cstdint>

#include "platform/paths.h"

namespace tavrine {

/// Flags that keep a file from being changed or deleted, by anybody.
inline constexpr uint32_t immutableFlag = 0x2;
inline constexpr uint32_t appendFlag = 0x4;

/// Those of the item itself, a link not followed and nothing opened; 0 where they cannot be read.
uint32_t fileFlags(const Path& path);

}  // namespace tavrine
