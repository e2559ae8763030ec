#pragma once

#include <optional>
#include <string_view>

#include "kit/records/locked_item.h"
#include "platform/file_identity.h"
#include "platform/paths.h"
#include "platform/uuid.h"

namespace tavrine {

/// An operation under way: where its pieces are and how to know them again. A plain value, equal field by field.
struct JournalEntry {
  enum class Kind { lock, restore };

  Uuid id;  ///< the item's
  Kind kind;
  Path originalPath;                                          ///< the unlocked item; for a restore, the locked image
  Path partialPath;                                           ///< what is being built
  Path finalPath;                                             ///< where it goes; may be empty for a restore
  std::optional<FileIdentity> lockedIdentity = std::nullopt;  ///< of the image, at either path
  std::optional<Date> lockedAt = std::nullopt;                ///< when the verified image was stamped
  std::optional<Path> deletingPath = std::nullopt;            ///< where the unlocked item goes just before its deletion

  bool operator==(const JournalEntry&) const = default;
};

std::string_view rawValue(JournalEntry::Kind kind);
std::optional<JournalEntry::Kind> journalEntryKind(std::string_view rawValue);

}  // namespace tavrine
