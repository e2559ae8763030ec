#pragma once

#include <vector>

#include "app/console.h"
#include "platform/paths.h"

namespace tavrine {

/// `tavrine menu PATH…`: shows the file manager's entries for the selected items, one per line: title, tab, command
/// URL. Nothing for a selection that has none.
void showMenu(const std::vector<Path>& selection, Console& console);

}  // namespace tavrine
