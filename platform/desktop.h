#pragma once

#include "platform/paths.h"

namespace tavrine {

/// Asks the desktop to show a file or folder in the program meant for it, and does not wait for that. Whether the
/// desktop could be asked.
bool openOnDesktop(const Path& path);

}  // namespace tavrine
