#include "platform/platform_places.h"

#include <unistd.h>

#include <fstream>

#include "platform/linux/user_dirs.h"
#include "platform/linux/user_folders.h"
#include "platform/process.h"
#include "platform/system.h"

namespace tavrine {
namespace {

/// Takes in a place as it is written and, where a link leads elsewhere, also what it resolves to: items are compared by
/// their resolved paths.
void add(std::vector<std::string>& places, const Path& place) {
  places.push_back(place.string());
  const std::string real = realPath(place).string();
  if (real != places.back()) places.push_back(real);
}

std::vector<std::string> standardFolders(const Path& home) {
  std::ifstream file(folderVariable("XDG_CONFIG_HOME").value_or(home / ".config") / "user-dirs.dirs");
  std::vector<std::string> places;
  for (const Path& folder : namedUserFolders(file, home)) add(places, folder);
  return places;
}

}  // namespace

PlatformPlaces platformPlaces(const Path& home) {
  PlatformPlaces places;
  for (const char* tree : {"/boot", "/lib", "/lib32", "/lib64", "/proc", "/run", "/snap", "/sys"}) {
    add(places.systemTrees, tree);
  }
  for (const char* folder : {"/home", "/root", "/mnt", "/media", "/var", "/tmp"}) {
    if (home != folder) add(places.systemFolders, folder);
  }
  for (const char* name : {".config", ".local", ".cache", ".var", ".gnupg", ".ssh"}) {
    add(places.libraryTrees, home / name);
  }
  places.standardFolders = standardFolders(home);
  return places;
}

std::vector<std::string> ownProgramPlaces() {
  std::vector<std::string> places = {realPath(toolPath("hdiutil").parent_path()).string()};
  if (const auto program = executableOfProcess(::getpid())) places.push_back(program->string());
  return places;
}

}  // namespace tavrine
