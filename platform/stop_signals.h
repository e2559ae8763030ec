#pragma once

#include <functional>
#include <memory>

#include "platform/stop_request.h"

namespace tavrine {

/// Takes the signals by which the user, the terminal or the system ask the program to stop (interrupt, terminate, hang
/// up) for as long as it lives, so that none of them ends the process; one that was ignored from the start stays so. A
/// pipe that nobody reads does not end the process from then on either. Made by the main thread before any other thread
/// is started, destroyed by it after they have ended; one at a time. Children are not affected.
class StopSignals final {
 public:
  /// `onSignal` is called on a thread of its own with how many signals came so far, the first time with 1. It is short,
  /// never throws and does not destroy this object. Throws `std::system_error`.
  explicit StopSignals(std::function<void(int count)> onSignal);
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// Gives the signals back. No call is under way when this returns.
  ~StopSignals();

  /// Raised at the first signal, before `onSignal` is called. Lives as long as this object.
  const StopRequest& stop() const;

 private:
  class Watch;

  const std::unique_ptr<Watch> watch_;
};

}  // namespace tavrine
