#include "app/support_directory.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>

#include "platform/private_folder.h"
#include "platform/text.h"
#include "platform/user_places.h"

namespace tavrine {
namespace {

Path place(const std::optional<Path>& chosen) {
  if (chosen) return std::filesystem::absolute(*chosen);
  const char* variable = std::getenv("TAVRINE_SUPPORT_DIR");  // NOLINT(concurrency-mt-unsafe): we set no variables
  if (variable != nullptr && *variable != '\0') return std::filesystem::absolute(variable);
  const auto data = dataFolder();
  if (!data) throw std::runtime_error("You have no home folder, so Tavrine has no place for its records.");
  return *data / "tavrine";
}

void refuseForeign(const Path& directory) {
  if (!othersMayWrite(directory)) return;
  throw std::runtime_error(repairedUtf8(directory.string()) +
                           " belongs to another user or can be changed by others, so Tavrine does not use it.");
}

void requireWritable(const Path& file) {
  errno = 0;
  if (std::ofstream(file, std::ios::app)) return;
  throw std::filesystem::filesystem_error("cannot open", file, std::error_code(errno, std::generic_category()));
}

}  // namespace

Path supportDirectory(const std::optional<Path>& chosen) {
  const Path directory = standardizedPath(place(chosen));
  refuseForeign(directory);
  return directory;
}

std::unique_ptr<SupportLock> lockSupportDirectory(const Path& directory, const CancelToken& cancel) {
  constexpr std::chrono::milliseconds pause(50);
  constexpr std::chrono::seconds patience(5);
  if (!createPrivateFolders(directory)) {
    throw std::filesystem::filesystem_error("cannot create", directory,
                                            std::make_error_code(std::errc::not_a_directory));
  }
  refuseForeign(directory);  // what stands there now may have been put there meanwhile
  const auto end = std::chrono::steady_clock::now() + patience;
  for (;;) {
    if (auto lock = SupportLock::acquire(directory)) return lock;
    cancel.check();
    if (std::chrono::steady_clock::now() >= end) break;
    std::this_thread::sleep_for(pause);
  }
  // The lock tells no reason: what cannot even be written to is not held by another one.
  requireWritable(directory / ".tavrine.lock");
  throw SupportDirectoryBusy();
}

}  // namespace tavrine
