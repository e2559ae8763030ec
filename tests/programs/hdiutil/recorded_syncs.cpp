// Loaded into the image tool in place of the system's calls: writes what is brought to disk, in order, to the file that
// TAVRINE_SYNCED names, and lets the disk fail when TAVRINE_SYNC_FAILS is set.

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

int record(const char* call, int fd) {
  std::ofstream file(std::getenv("TAVRINE_SYNCED"), std::ios::app);
  file << call << ' ' << std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)).string() << '\n';
  if (std::getenv("TAVRINE_SYNC_FAILS") == nullptr) return 0;
  errno = EIO;
  return -1;
}

}  // namespace

extern "C" int syncfs(int fd) noexcept {
  return record("syncfs", fd);
}

extern "C" int fsync(int fd) {
  return record("fsync", fd);
}
