#pragma once

#include <string>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// Places of this platform that other software relies on; as written and, where links lead elsewhere, also
/// resolved.
struct PlatformPlaces {
  std::vector<std::string> systemTrees;      ///< the system's: the folder and all below it
  std::vector<std::string> systemFolders;    ///< the system's: the folder itself alone
  std::vector<std::string> libraryTrees;     ///< the home's folders that applications keep their files in
  std::vector<std::string> standardFolders;  ///< standard folders under the names the user sees
};

/// Those of the user whose resolved home is `home`. Never fails: a place that cannot be learnt is left out.
PlatformPlaces platformPlaces(const Path& home);

/// The files of the running program: itself, and the folder of the programs it starts; resolved paths.
std::vector<std::string> ownProgramPlaces();

}  // namespace tavrine
