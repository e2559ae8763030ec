#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/paths.h"

namespace tavrine {

/// When the machine was started, in whole seconds since 1970-01-01 UTC; 0 where the kernel does not tell.
int64_t bootTimeSeconds();

/// The folder that the programs of one maker share, 0700, created when missing. Nothing where it cannot be had: no home
/// folder, not creatable, owned by another user, or writable by others.
std::optional<Path> groupContainer(std::string_view groupIdentifier);

/// The program `name` of those that Tavrine brings along and starts: in "libexec/tavrine" of the folder above the one
/// that the running program is in, or of the next one above (a build's test programs lie one folder deeper). Where it
/// is in neither, the first place, so that starting it tells what is missing.
Path toolPath(std::string_view name);

/// Overwrites memory that held a secret, in a way the compiler may not leave out.
void wipeMemory(void* memory, size_t size);

}  // namespace tavrine
