#include "platform/system.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace tavrine {
namespace {

/// The value of a variable that names a folder; a relative one is to be ignored, says the desktop's base directory
/// rule.
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
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
    return std::nullopt;
  return Path(entry.pw_dir);
}

std::optional<Path> stateFolder() {
  if (auto folder = folderVariable("XDG_STATE_HOME")) return folder;
  const auto home = homeFolder();
  if (!home) return std::nullopt;
  return *home / ".local" / "state";
}

bool isPrivateFolder(const Path& folder) {
  struct stat status {};
  return ::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

int64_t bootTimeSeconds() {
  std::ifstream statistics("/proc/stat");
  for (std::string line; std::getline(statistics, line);) {
    constexpr std::string_view key = "btime ";
    if (line.starts_with(key)) return std::strtoll(line.c_str() + key.size(), nullptr, 10);
  }
  return 0;
}

std::optional<Path> groupContainer(std::string_view groupIdentifier) {
  const auto state = stateFolder();
  if (!state) return std::nullopt;
  std::error_code error;
  std::filesystem::create_directories(*state, error);
  const Path container = *state / groupIdentifier;
  // A container that is there already, or cannot be made, shows in the check.
  (void)::mkdir(container.c_str(), S_IRWXU);
  if (!isPrivateFolder(container)) return std::nullopt;
  return container;
}

Path toolPath(std::string_view name) {
  std::error_code error;  // what is not found is missing, whatever the reason
  const Path program = std::filesystem::read_symlink("/proc/self/exe", error);
  const Path above = program.parent_path().parent_path();
  const auto toolBelow = [name](const Path& folder) { return folder / "libexec" / "tavrine" / name; };
  for (const Path& folder : {above, above.parent_path()}) {
    if (std::filesystem::is_regular_file(toolBelow(folder), error)) return toolBelow(folder);
  }
  return toolBelow(above);
}

void wipeMemory(void* memory, size_t size) {
  ::explicit_bzero(memory, size);
}

}  // namespace tavrine
