#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/password.h"

namespace tavrine {

/// The current password and all that is needed to open an item not moved to it yet. A plain value, equal field by
/// field; its owner guards it between threads. Neither stores nor encrypts itself: its JSON form holds the passwords in
/// clear, so whoever keeps it protects it.
struct StoredSecret {
  Password password;                 ///< the current one
  int64_t generation;                ///< its number, one higher at every change
  std::optional<Password> previous;  ///< the one before, until every item has been moved
  std::vector<Password> history;     ///< every earlier one, oldest first, each retired password once

  /// This record after a change to `newPassword`. Throws `std::overflow_error` where no higher generation exists.
  StoredSecret changing(Password newPassword) const;

  /// This record once every item uses the current password.
  StoredSecret migrated() const;

  /// The passwords to try on an item whose password is unknown: the current, the previous, then the others from the
  /// latest to the oldest; each once. Never empty.
  std::vector<Password> openCandidates() const;

  /// The record as one JSON object; the caller wipes it after use. Throws `std::invalid_argument` where a password is
  /// no UTF-8, which JSON cannot hold: nothing is replaced.
  std::string json() const;

  /// The record of that text. Throws `UnreadableRecord`, whose text holds nothing of the content. The JSON library's
  /// own short-lived buffers are not wiped.
  static StoredSecret fromJSON(std::string_view text);

  bool operator==(const StoredSecret&) const = default;
};

}  // namespace tavrine
