#pragma once

#include <mutex>

namespace tavrine {

/// Tells a running operation that the user no longer wants it. One per operation, shared (`std::shared_ptr`) by all who
/// may cancel or must stop; any thread may call it at any time. Cancelling is for good.
class CancelToken final {
 public:
  void cancel();
  bool isCancelled() const;

  /// Throws `TavrineError` `cancelled` once the token is cancelled; long operations call it between their steps.
  void check() const;

 private:
  mutable std::mutex lock_;
  bool cancelled_ = false;
};

}  // namespace tavrine
