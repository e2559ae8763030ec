#include "platform/system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/user_folders.h"

namespace tavrine {
namespace {

std::optional<Path> stateFolder() {
  if (auto folder = folderVariable("XDG_STATE_HOME")) return folder;
  const auto home = homeFolder();
  if (!home) return std::nullopt;
  return *home / ".local" / "state";
}

/// Makes `folder` 0700; false where it is no folder, of another user, or others could have written there.
bool makePrivate(const Path& folder) {
  const FileDescriptor file(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) return false;
  if (status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) return false;
  return (status.st_mode & 07777) == S_IRWXU || ::fchmod(file.get(), S_IRWXU) == 0;
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
  if (!makePrivate(container)) return std::nullopt;
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
  if (size > 0) ::explicit_bzero(memory, size);  // nothing may be at no address
}

}  // namespace tavrine
