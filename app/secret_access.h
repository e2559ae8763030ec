#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "app/password_source.h"
#include "app/secret_store.h"
#include "kit/engine/locker.h"
#include "kit/records/stored_secret.h"

namespace tavrine {

/// How a command gets at the stored secret: the question before the support lock is taken, the answer under it. Made
/// for one command, used by one thread: `ask` once, then `take`.
class SecretAccess final {
 public:
  struct Options {
    Path supportDirectory;
    KeyCost cost = SecretBox::interactiveCost;  ///< of a store written here
    std::vector<Path> images = {};              ///< locked images that the command is to open
  };

  /// `passwords` and `messages`, where notices to the user go, outlive it.
  SecretAccess(const Options& options, PasswordSource& passwords, std::ostream& messages);

  /// Asks for the password and checks it where the store is there; `TavrineError` `wrongPassword` when it does not open
  /// it. With neither store nor items it is the first use: asks for a new password, or, where the command is to open
  /// images that came from elsewhere, for theirs. Changes nothing on disk. The other errors are those of
  /// `PasswordSource`, and the system's.
  void ask();

  /// The stored secret, with the support lock held and recovery done. On first use it is stored now, unless another
  /// process stored one meanwhile: then the password must open that. A store that is missing or damaged although there
  /// are items is made anew only when the password opens one of their images; a damaged one is set aside first.
  /// `wrongPassword` when it opens none; `std::runtime_error` with a message for the user where no image is there to
  /// check it with.
  StoredSecret take(const Locker& locker);

 private:
  bool isFirstUse() const;
  StoredSecret takeStored() const;
  StoredSecret newSecret(const Locker& locker) const;

  const ItemIndex index_;
  const std::vector<Path> images_;
  const SecretStore store_;
  PasswordSource& passwords_;
  std::ostream& messages_;
  std::optional<Password> password_;
  bool isNew_ = false;                      ///< it was asked for as a new one, and judged
  std::optional<StoredSecret> opened_;      ///< by `ask`
  std::optional<std::string> openedBytes_;  ///< of the store that `opened_` came from
};

}  // namespace tavrine
