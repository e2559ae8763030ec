#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kit/engine/item_facts.h"
#include "kit/errors/lock_refusal.h"
#include "platform/paths.h"

namespace tavrine {

/// Which items may be locked at all: a decision over the resolved path and a few facts, without a look at the disk. A
/// plain value of resolved paths.
struct LockPolicy {
  static constexpr int64_t maxBytes = 2'000'000'000'000;
  static constexpr std::array<std::string_view, 2> cloudFolders = {"Mobile Documents", "CloudStorage"};

  /// Places that only this platform has, applied behind all other rules. Empty by default: the rules that hold
  /// everywhere need none.
  struct PlatformPlaces {
    std::vector<std::string> systemTrees;      ///< the folder and all below it
    std::vector<std::string> systemFolders;    ///< the folder itself alone
    std::vector<std::string> libraryTrees;     ///< the home's folders that applications rely on
    std::vector<std::string> standardFolders;  ///< the home's folders under their names in the user's language
    std::vector<std::string> ownPlaces;        ///< what Tavrine works with: no item may hold one of them
  };

  std::string home;
  std::string mountsRoot;
  std::optional<std::string> appBundle = std::nullopt;
  PlatformPlaces platformPlaces = {};

  /// The policy of these places, their paths resolved.
  static LockPolicy of(const Path& home, const Path& mountsRoot, const std::optional<Path>& appBundle);

  /// Why the item may not be locked, by the first rule that speaks; nothing when it may.
  std::optional<LockRefusal> refusal(const Path& url, const ItemFacts& facts) const;
};

}  // namespace tavrine
