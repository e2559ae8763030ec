#include "kit/engine/lock_step.h"

#include <algorithm>
#include <array>

namespace tavrine {
namespace {

constexpr std::array<std::string_view, 7> names = {
    "preparing", "downloading", "encrypting", "verifying", "removingOriginal", "restoring", "finishing",
};

}  // namespace

std::string_view rawValue(LockStep step) {
  return names.at(static_cast<size_t>(step));
}

std::optional<LockStep> lockStep(std::string_view rawValue) {
  const auto found = std::find(names.begin(), names.end(), rawValue);
  if (found == names.end()) return std::nullopt;
  return static_cast<LockStep>(found - names.begin());
}

}  // namespace tavrine
