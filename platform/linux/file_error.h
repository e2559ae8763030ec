#pragma once

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/paths.h"

namespace tavrine {

/// Throws the system's error of this moment (errno) for `path`.
[[noreturn]] inline void failFor(const char* what, const Path& path, int code = errno) {
  throw std::filesystem::filesystem_error(what, path, std::error_code(code, std::generic_category()));
}

}  // namespace tavrine
