#pragma once

#include <functional>
#include <optional>
#include <string_view>

namespace tavrine {

/// What a long operation is doing.
enum class LockStep { preparing, downloading, encrypting, verifying, removingOriginal, restoring, finishing };

/// The step's name: the name of its case.
std::string_view rawValue(LockStep step);

/// The step of that name; nothing for any other text.
std::optional<LockStep> lockStep(std::string_view rawValue);

/// Told each step once, before its work begins, on the thread that runs the operation. It stops nothing: cancelling
/// goes through the `CancelToken`.
using Progress = std::function<void(LockStep)>;

}  // namespace tavrine
