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
#include "platform/platform_places.h"

namespace tavrine {

/// Which items may be locked at all: a decision over the resolved path and a few facts, without another look at the
/// disk. A plain value of resolved paths.
struct LockPolicy {
  static constexpr int64_t maxBytes = 2'000'000'000'000;
  static constexpr std::array<std::string_view, 2> cloudFolders = {"Mobile Documents", "CloudStorage"};

  /// What only this machine can tell, applied behind all other rules. Empty by default.
  struct Further {
    PlatformPlaces places;
    std::vector<std::string> ownPlaces;  ///< what Tavrine works with: no item may hold one, be one or be in one
  };

  std::string home;
  std::string mountsRoot;
  std::optional<std::string> appBundle = std::nullopt;
  Further further = {};

  /// The policy of these places, their paths resolved.
  static LockPolicy of(const Path& home, const Path& mountsRoot, const std::optional<Path>& appBundle);

  /// Why the item may not be locked, by the first rule that speaks; nothing when it may.
  std::optional<LockRefusal> refusal(const Path& url, const ItemFacts& facts) const;

 private:
  std::optional<LockRefusal> refusalOfPlace(const std::string& path) const;
  std::optional<LockRefusal> furtherRefusal(const std::string& path) const;
  bool isInLibrary(const std::string& path) const;
};

}  // namespace tavrine
