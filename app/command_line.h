#pragma once

#include "app/exit_code.h"

namespace tavrine {

/// Parses the arguments, runs the one command they name, shows what it did and returns how it ended. Every error ends
/// here as one line on standard error.
ExitCode runCommandLine(int argc, const char* const* argv);

}  // namespace tavrine
