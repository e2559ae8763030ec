#pragma once

#include "kit/engine/crash_point.h"

namespace tavrine {

/// Runs the steps and, where they fail, `undo`, which throws nothing; the failure is passed on. A simulated crash
/// undoes nothing, as a real one would not.
template <typename Steps, typename Undo>
void undoneOnFailure(const Steps& steps, const Undo& undo) {
  try {
    steps();
  } catch (const SimulatedCrash&) {
    throw;
  } catch (...) {
    undo();
    throw;
  }
}

}  // namespace tavrine
