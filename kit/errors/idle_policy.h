#pragma once

#include <array>
#include <cstdint>

namespace tavrine {

/// When unlocked items are locked again because the user is away. Keeps no state and no clock.
class IdlePolicy final {
 public:
  IdlePolicy() = delete;

  /// The idle times offered, in minutes; 0 is never.
  static constexpr std::array<int64_t, 5> choices = {5, 15, 30, 60, 0};

  /// Whether the time has come: something is unlocked and the user has been idle for the chosen minutes or longer.
  /// Never with 0 minutes or less.
  static bool shouldLock(double idleSeconds, int64_t minutes, bool hasUnlockedItems) {
    return minutes > 0 && hasUnlockedItems && idleSeconds >= static_cast<double>(minutes) * 60;
  }
};

}  // namespace tavrine
