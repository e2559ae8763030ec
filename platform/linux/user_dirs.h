#pragma once

#include <istream>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// The desktop, documents and downloads folders that a user-dirs.dirs file names, "$HOME" being `home`. Lines of any
/// other form are passed over.
std::vector<Path> namedUserFolders(std::istream& file, const Path& home);

}  // namespace tavrine
