#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// The longest command name that is reported, in bytes.
constexpr size_t longestCommandName = 31;

/// The name to report for a process. The kernel keeps the first 15 bytes of it (`kernelName`); where the file that the
/// process runs
/// (`executable`, a path as /proc shows it, or empty) begins so, the name goes on as that file's does. It is one line:
/// control characters are written as \n, \t or ^X.
std::string commandName(std::string_view kernelName, std::string_view executable);

}  // namespace tavrine
