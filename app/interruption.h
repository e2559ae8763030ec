#pragma once

#include <memory>

#include "app/console.h"
#include "app/running_work.h"
#include "kit/tools/cancel_token.h"
#include "platform/stop_signals.h"

namespace tavrine {

/// What Ctrl-C, a request to terminate and a terminal that is gone do: the first one cancels what runs and lets nothing
/// new begin, the next ones say what is still under way. Made by the main thread before any other is started.
class Interruption final {
 public:
  /// Both outlive it.
  Interruption(Console& console, RunningWork& work);

  const std::shared_ptr<CancelToken>& token() const { return token_; }

  /// For those who wait for the user.
  const StopRequest& stop() const { return signals_.stop(); }

 private:
  void onSignal(int count);

  Console& console_;
  RunningWork& work_;
  const std::shared_ptr<CancelToken> token_ = std::make_shared<CancelToken>();
  const StopSignals signals_;
};

}  // namespace tavrine
