#pragma once

#include <iostream>
#include <vector>

#include "app/password_source.h"
#include "app/run.h"
#include "app/secret_access.h"
#include "kit/errors/tavrine_error.h"
#include "kit/records/stored_secret.h"

namespace tavrine {

/// Asks for the password of a run, before its session begins; the secret is taken in the session.
class SecretQuestion final {
 public:
  /// Asks. Errors are those of `SecretAccess::ask`.
  /// `images`: those that the run is to open.
  explicit SecretQuestion(const Run& run, std::vector<Path> images = {})
      : passwords_(run.request.passwordFile, run.interruption.stop(), std::cerr),
        access_({.supportDirectory = run.supportDirectory, .images = std::move(images)}, passwords_, std::cerr) {
    access_.ask();
  }

  StoredSecret take(const Locker& locker) { return access_.take(locker); }

 private:
  PasswordSource passwords_;
  SecretAccess access_;
};

/// What `operation` returns for the first of the secret's passwords that it does not call wrong.
template <typename Operation>
auto withPasswordThatOpens(const StoredSecret& secret, const Operation& operation) {
  std::vector<Password> candidates = secret.openCandidates();
  const Password last = candidates.back();
  candidates.pop_back();
  for (const Password& candidate : candidates) {
    try {
      return operation(candidate);
    } catch (const TavrineError& error) {
      if (error.kind() != TavrineError::Case::wrongPassword) throw;
    }
  }
  return operation(last);
}

}  // namespace tavrine
