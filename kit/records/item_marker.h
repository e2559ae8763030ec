#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kit/records/locked_item.h"
#include "platform/paths.h"

namespace tavrine {

/// What an image says of itself, in a small file at its volume's root, so that it can be named without its record.
struct ItemMarker {
  static constexpr std::string_view fileName = ".tavrine-item.json";

  int64_t formatVersion = 1;
  LockedItem::Kind kind = LockedItem::Kind::folder;
  std::string name;  ///< the item's name before it was locked; any bytes

  /// Writes the file, in place of an existing one. Throws the platform's file error.
  void write(const Path& volume) const;

  /// Nothing where there is none or it cannot be read or does not decode. Never fails.
  static std::optional<ItemMarker> read(const Path& volume);

  /// Whether a text may be used as a file name: not empty, ".", "..", and without "/" and NUL.
  static bool isSafeName(std::string_view name);

  bool operator==(const ItemMarker&) const = default;
};

}  // namespace tavrine
