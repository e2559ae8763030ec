#include "kit/errors/lock_refusal.h"

namespace tavrine {
namespace {

struct Text {
  std::string_view rawValue;
  std::string_view message;
};

/// In the order of the cases.
constexpr std::array<Text, allLockRefusals.size()> texts = {{
    {"doesNotExist", "That item no longer exists."},
    {"systemLocation", "Tavrine does not lock macOS system folders."},
    {"homeFolder", "Tavrine does not lock your whole home folder. Lock the folders inside it instead."},
    {"standardFolder",
     "Tavrine does not lock your whole Desktop, Documents or Downloads folder. Lock the items inside it instead."},
    {"libraryFolder", "Tavrine does not lock items in your Library folder, because apps rely on them."},
    {"application", "Tavrine does not lock apps."},
    {"tavrineItself", "Tavrine cannot lock itself."},
    {"volumeRoot", "Tavrine does not lock whole drives. Lock the folders on the drive instead."},
    {"networkVolume", "Tavrine does not lock items on network drives."},
    {"alreadyLocked", "This item is already locked."},
    {"insideUnlockedItem", "This is inside an unlocked Tavrine item, which is already protected."},
    {"insideLockedItem", "This is inside a locked item or a disk image, so Tavrine cannot lock it."},
    {"tooLarge", "Tavrine locks items up to 2 TB."},
    {"shortcut", "This is a shortcut to another item. Lock the original instead."},
}};

const Text& textOf(LockRefusal refusal) {
  return texts.at(static_cast<size_t>(refusal));
}

}  // namespace

std::string_view rawValue(LockRefusal refusal) {
  return textOf(refusal).rawValue;
}

std::optional<LockRefusal> lockRefusal(std::string_view rawValue) {
  for (const LockRefusal refusal : allLockRefusals) {
    if (textOf(refusal).rawValue == rawValue) return refusal;
  }
  return std::nullopt;
}

std::string_view message(LockRefusal refusal) {
  return textOf(refusal).message;
}

}  // namespace tavrine
