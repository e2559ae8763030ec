#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kit/commands/tavrine_command.h"
#include "platform/paths.h"

namespace tavrine {

/// One entry of the file manager's menu: what it is called and what it sends when chosen.
struct FinderMenuEntry {
  std::string title;
  TavrineCommand command;

  bool operator==(const FinderMenuEntry&) const = default;
};

/// Which entries the file manager shows for a selection. Pure but for resolving the links in the paths of locked items;
/// keeps nothing.
class FinderMenuModel final {
 public:
  FinderMenuModel() = delete;

  /// The entries in the order shown. `unlockedPaths` holds canonical paths; nothing means that it is unknown which are
  /// unlocked.
  static std::vector<FinderMenuEntry> entries(const std::vector<Path>& selection,
                                              const std::optional<std::set<std::string>>& unlockedPaths);
};

/// The entries for a selection and the state that the application left in `stateFile`, as it is now.
std::vector<FinderMenuEntry> currentEntries(const std::vector<Path>& selection, const std::optional<Path>& stateFile);

}  // namespace tavrine
