#pragma once

#include <string>

#include "platform/stop_request.h"

namespace tavrine {

/// Whether the user, asked on the terminal, says yes. No where there is no terminal, no answer, or any other one.
bool confirm(const std::string& question, const StopRequest& stop);

}  // namespace tavrine
