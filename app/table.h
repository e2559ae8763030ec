#pragma once

#include <string>
#include <vector>

namespace tavrine {

using TableRow = std::vector<std::string>;

/// The rows as lines of aligned columns, two spaces apart and none at a line's end. Every row has as many cells as the
/// first. Width is counted in characters as readers perceive them.
std::vector<std::string> alignedLines(const std::vector<TableRow>& rows);

}  // namespace tavrine
