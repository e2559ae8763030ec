#pragma once

#include <exception>

namespace tavrine {

/// Runs a step whose failure must not stop what comes after it: clean-up goes on, and the error that began it is the
/// one to report. Whether the step succeeded.
template <typename Step>
bool ignoringFailure(const Step& step) {
  try {
    step();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace tavrine
