#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavrine {

/// What a start has to tell the user.
struct RecoveryNotice {
  std::string title;
  std::string body;
  bool operator==(const RecoveryNotice&) const = default;
};

/// What recovery did, in counts. A plain value, equal field by field.
struct RecoveryReport {
  int64_t finishedLocks = 0;
  int64_t discardedLocks = 0;  ///< undone, the unlocked item untouched
  int64_t finishedRestores = 0;
  int64_t discardedRestores = 0;     ///< undone, the item still locked
  int64_t detachedStale = 0;         ///< attached images of no known item
  int64_t keptChangedOriginals = 0;  ///< changed after they were copied, and kept beside the locked copy
  int64_t keptForLater = 0;          ///< left in the journal
  bool indexWasDamaged = false;
  bool journalWasDamaged = false;

  /// The counts as one short message; nothing where there is nothing to tell.
  std::optional<RecoveryNotice> notice() const;

  bool operator==(const RecoveryReport&) const = default;
};

}  // namespace tavrine
