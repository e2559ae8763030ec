#pragma once

#include <istream>
#include <set>
#include <string>

namespace tavrine {

/// The extensions, in lower case, that a table of file-name patterns names one by one ("*.pdf"). Patterns of another
/// form name none: neither "*.tar.gz" nor "*.[1-9]" says that "gz" or "1" is an extension.
std::set<std::string> globExtensions(std::istream& table);

}  // namespace tavrine
