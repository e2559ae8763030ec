#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kit/records/stored_secret.h"
#include "platform/password.h"
#include "platform/paths.h"
#include "platform/secret_box.h"

namespace tavrine {

/// The file "secret.tavrine": the stored secret, encrypted under its current password (docs/secret-store.md). Keeps
/// nothing in memory. Whoever writes holds the `SupportLock`; reading needs none. A file that cannot be read is the
/// system's error, never taken for a missing or a damaged one.
class SecretStore final {
 public:
  static constexpr std::string_view fileName = "secret.tavrine";

  /// `cost` is that of what is written; what is read names its own.
  explicit SecretStore(const Path& supportDirectory, KeyCost cost = SecretBox::interactiveCost);

  const Path& fileURL() const { return fileURL_; }

  /// `damaged`: a file that no password opens, whatever it is. What only a password can tell counts as `present`.
  enum class State { missing, damaged, present };
  State state() const;

  /// Its bytes as they are on disk, by which a change is noticed; nothing where it is missing.
  std::optional<std::string> bytes() const;

  /// Nothing for a wrong password, and where a change behind the header's cannot be told from one. Throws
  /// `std::runtime_error` unless the store is `present`.
  std::optional<StoredSecret> open(const Password& password) const;

  /// Replaces the store, in one step and durably, by one that the secret's current password opens.
  void save(const StoredSecret& secret) const;

  /// Gives the file a name that tells it was damaged, and returns its new place. Never deletes it.
  Path setAside() const;

 private:
  Path fileURL_;
  KeyCost cost_;
};

}  // namespace tavrine
