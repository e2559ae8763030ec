#pragma once

#include <iosfwd>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// `tavrine menu PATH…`: writes the file manager's entries for the selected items, one per line: title, tab, command
/// URL. Nothing for a selection that has none.
void showMenu(const std::vector<Path>& selection, std::ostream& out);

}  // namespace tavrine
