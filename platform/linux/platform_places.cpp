#include "platform/platform_places.h"

#include <unistd.h>
#include <fstream>

#include "platform/linux/user_folders.h"
#include "platform/process.h"
#include "platform/system.h"

namespace tavrine {
namespace {

/// The folder of a line like `XDG_DESKTOP_DIR="$HOME/Schreibtisch"`; empty for any other line, and for the home itself,
/// which stands for a folder that the user has turned off.
std::string folderOfLine(const std::string& line, std::string_view key, const std::string& home) {
  const std::string start = std::string(key) + "=\"$HOME/";
  if (line.compare(0, start.size(), start) != 0) return {};
  const size_t end = line.find('"', start.size());
  if (end == std::string::npos || end == start.size()) return {};
  return withoutSlashAtEnd(home + "/" + line.substr(start.size(), end - start.size())).string();
}

std::vector<std::string> standardFolders(const Path& home) {
  std::vector<std::string> folders;
  std::ifstream file(folderVariable("XDG_CONFIG_HOME").value_or(home / ".config") / "user-dirs.dirs");
  for (std::string line; std::getline(file, line);) {
    for (const std::string_view key : {"XDG_DESKTOP_DIR", "XDG_DOCUMENTS_DIR", "XDG_DOWNLOAD_DIR"}) {
      const std::string folder = folderOfLine(line, key, home.string());
      if (!folder.empty()) folders.push_back(folder);
    }
  }
  return folders;
}

}  // namespace

PlatformPlaces platformPlaces(const Path& home) {
  PlatformPlaces places;
  places.systemTrees = {"/boot", "/lib", "/lib32", "/lib64", "/proc", "/run", "/snap", "/sys"};
  places.systemFolders = {"/home", "/mnt", "/media", "/var", "/tmp"};
  if (home != "/root") places.systemFolders.emplace_back("/root");
  for (const char* name : {".config", ".local", ".cache", ".var", ".gnupg", ".ssh"}) {
    places.libraryTrees.push_back((home / name).string());
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
