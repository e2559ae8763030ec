#include "app/table.h"

#include <algorithm>

#include "platform/text.h"

namespace tavrine {

std::vector<std::string> alignedLines(const std::vector<TableRow>& rows) {
  std::vector<size_t> widths;
  for (const TableRow& row : rows) {
    widths.resize(row.size());
    for (size_t at = 0; at < row.size(); ++at) widths[at] = std::max(widths[at], characters(row[at]).size());
  }
  std::vector<std::string> lines;
  for (const TableRow& row : rows) {
    std::string line;
    for (size_t at = 0; at < row.size(); ++at) {
      line += row[at];
      if (at + 1 < row.size()) line.append(widths[at] + 2 - characters(row[at]).size(), ' ');
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace tavrine
