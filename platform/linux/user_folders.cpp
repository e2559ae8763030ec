#include "platform/linux/user_folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace tavrine {

std::optional<Path> folderVariable(const char* name) {
  const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): the programs set no variables
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return Path(value);
}

std::optional<Path> homeFolder() {
  if (auto home = folderVariable("HOME")) return home;
  std::vector<char> buffer(16384);
  struct passwd entry {};
  struct passwd* found = nullptr;
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
    return std::nullopt;
  }
  return Path(entry.pw_dir);
}

std::optional<Path> dataFolder() {
  if (auto folder = folderVariable("XDG_DATA_HOME")) return folder;
  const auto home = homeFolder();
  if (!home) return std::nullopt;
  return *home / ".local" / "share";
}

}  // namespace tavrine
