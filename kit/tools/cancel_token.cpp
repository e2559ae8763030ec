#include "kit/tools/cancel_token.h"

#include "kit/errors/tavrine_error.h"

namespace tavrine {

void CancelToken::cancel() {
  const std::lock_guard guard(lock_);
  cancelled_ = true;
}

bool CancelToken::isCancelled() const {
  const std::lock_guard guard(lock_);
  return cancelled_;
}

void CancelToken::check() const {
  if (isCancelled()) throw TavrineError::cancelled();
}

}  // namespace tavrine
