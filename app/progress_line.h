#pragma once

#include <cstdint>
#include <string>

#include "kit/engine/lock_step.h"

namespace tavrine {

/// How far one step of an operation is.
struct ProgressState {
  LockStep step = LockStep::preparing;
  std::string name;        ///< the item's
  int64_t doneBytes = 0;   ///< of this step
  int64_t totalBytes = 0;  ///< of this step; 0 where that is not known
  int64_t items = 0;       ///< in the whole item; 0 where that is not known
  double seconds = 0;      ///< since the step began
};

/// One line about it, at most `columns` characters long: the step, and where it is known a bar with bytes, items and
/// the time left.
std::string progressLine(const ProgressState& state, int columns);

}  // namespace tavrine
