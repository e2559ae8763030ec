#include "kit/commands/finder_menu_model.h"

#include <algorithm>
#include <iterator>

#include "kit/commands/shared_state.h"
#include "kit/records/locked_extension.h"

namespace tavrine {
namespace {

using UnlockedPaths = std::optional<std::set<std::string>>;

bool isLockedItem(const Path& path) {
  return pathExtension(path) == lockedExtension;
}

bool isUnlocked(const Path& path, const UnlockedPaths& unlocked) {
  return unlocked->contains(canonicalPath(path));
}

FinderMenuEntry lockEntry(const std::vector<Path>& items) {
  return {"Lock with Tavrine", TavrineCommand::lock(items)};
}
FinderMenuEntry unlockEntry(const Path& item) {
  return {"Unlock with Tavrine", TavrineCommand::unlock(item)};
}
FinderMenuEntry lockNowEntry(const std::vector<Path>& items) {
  return {"Lock Now", TavrineCommand::lockNow(items)};
}
FinderMenuEntry removeLockEntry(const Path& item) {
  return {"Remove Lock…", TavrineCommand::removeLock(item)};
}
FinderMenuEntry revealEntry(const Path& item) {
  return {"Show Unlocked Files", TavrineCommand::reveal(item)};
}

std::vector<FinderMenuEntry> entriesForSeveral(std::vector<Path> locked, const UnlockedPaths& unlocked) {
  if (unlocked) std::erase_if(locked, [&unlocked](const Path& item) { return !isUnlocked(item, unlocked); });
  if (locked.empty()) return {};
  return {lockNowEntry(locked)};
}

std::vector<FinderMenuEntry> entriesForOne(const Path& item, const UnlockedPaths& unlocked) {
  if (!unlocked) return {unlockEntry(item), lockNowEntry({item}), removeLockEntry(item)};
  if (isUnlocked(item, unlocked)) return {lockNowEntry({item}), revealEntry(item)};
  return {unlockEntry(item), removeLockEntry(item)};
}

}  // namespace

std::vector<FinderMenuEntry> FinderMenuModel::entries(const std::vector<Path>& selection,
                                                      const UnlockedPaths& unlockedPaths) {
  std::vector<Path> locked;
  std::vector<Path> plain;
  std::partition_copy(selection.begin(), selection.end(), std::back_inserter(locked), std::back_inserter(plain),
                      isLockedItem);
  if (!plain.empty()) {
    if (!locked.empty()) return {};
    return {lockEntry(plain)};
  }
  if (locked.empty()) return {};
  if (locked.size() == 1) return entriesForOne(locked.front(), unlockedPaths);
  return entriesForSeveral(std::move(locked), unlockedPaths);
}

std::vector<FinderMenuEntry> currentEntries(const std::vector<Path>& selection, const std::optional<Path>& stateFile) {
  const auto state = SharedState::read(stateFile);
  const UnlockedPaths unlocked = state ? state->unlockedSet(SharedState::currentBootTime()) : std::nullopt;
  return FinderMenuModel::entries(selection, unlocked);
}

}  // namespace tavrine
