#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tavrine {

/// Why the lock policy does not lock an item.
enum class LockRefusal {
  doesNotExist,
  systemLocation,
  homeFolder,
  standardFolder,
  libraryFolder,
  application,
  tavrineItself,
  volumeRoot,
  networkVolume,
  alreadyLocked,
  insideUnlockedItem,
  insideLockedItem,
  tooLarge,
  shortcut,
};

/// Every refusal, in order.
inline constexpr std::array<LockRefusal, 14> allLockRefusals = {
    LockRefusal::doesNotExist,   LockRefusal::systemLocation,     LockRefusal::homeFolder,
    LockRefusal::standardFolder, LockRefusal::libraryFolder,      LockRefusal::application,
    LockRefusal::tavrineItself,  LockRefusal::volumeRoot,         LockRefusal::networkVolume,
    LockRefusal::alreadyLocked,  LockRefusal::insideUnlockedItem, LockRefusal::insideLockedItem,
    LockRefusal::tooLarge,       LockRefusal::shortcut,
};

/// The refusal's name as it is stored: the name of its case.
std::string_view rawValue(LockRefusal refusal);

/// The refusal of that name; nothing for any other text.
std::optional<LockRefusal> lockRefusal(std::string_view rawValue);

/// The sentence for the user.
std::string_view message(LockRefusal refusal);

}  // namespace tavrine
