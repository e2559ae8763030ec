#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/paths.h"
#include "platform/uuid.h"

namespace tavrine {

/// A point in time as records keep it.
using Date = std::chrono::sys_seconds;

/// Now, rounded to the nearest whole second.
Date currentDate();

/// What is kept of one locked item. A plain value, equal field by field.
struct LockedItem {
  enum class Kind { file, folder };
  /// `originalPending` while the unlocked item still has to be removed.
  enum class Stage { originalPending, complete };

  Uuid id;                  ///< stays the same for the item's whole life
  std::string displayName;  ///< its name before it was locked; any bytes
  Kind kind;
  std::optional<std::string> bookmark;  ///< of the image; opaque bytes
  Path lastKnownPath;                   ///< of the image
  Date createdAt;
  int64_t passwordGeneration;
  Stage stage;
  std::optional<Path> originalPath = std::nullopt;    ///< of the unlocked item, while pending
  std::optional<int64_t> contentSize = std::nullopt;  ///< logical bytes

  bool operator==(const LockedItem&) const = default;
};

/// The name as it is stored: the name of the case.
std::string_view rawValue(LockedItem::Kind kind);
std::string_view rawValue(LockedItem::Stage stage);

/// The case of that name; nothing for any other text.
std::optional<LockedItem::Kind> lockedItemKind(std::string_view rawValue);
std::optional<LockedItem::Stage> lockedItemStage(std::string_view rawValue);

}  // namespace tavrine
