#include "platform/linux/kernel_handle.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <climits>
#include <cstring>

#include "platform/linux/file_descriptor.h"

namespace tavrine {
namespace {

/// Room for the largest handle of the kernel.
struct HandleBuffer {
  alignas(file_handle) std::array<char, sizeof(file_handle) + MAX_HANDLE_SZ> bytes{};

  file_handle* get() { return reinterpret_cast<file_handle*>(bytes.data()); }
};

/// The folder itself may have been renamed or removed; any other of its volume does as well.
FileDescriptor folderAtOrAbove(Path folder) {
  for (;;) {
    FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.isOpen() || !folder.has_relative_path()) return opened;
    folder = folder.parent_path();
  }
}

}  // namespace

std::string kernelHandleOf(const Path& path) {
  HandleBuffer buffer;
  buffer.get()->handle_bytes = MAX_HANDLE_SZ;
  int mount = 0;
  if (::name_to_handle_at(AT_FDCWD, path.c_str(), buffer.get(), &mount, 0) != 0) return {};
  return {buffer.bytes.data(), sizeof(file_handle) + buffer.get()->handle_bytes};
}

std::optional<Path> pathOfKernelHandle(std::string_view handle, const Path& folder) {
  HandleBuffer buffer;
  if (handle.size() < sizeof(file_handle) || handle.size() > buffer.bytes.size()) return std::nullopt;
  std::memcpy(buffer.bytes.data(), handle.data(), handle.size());
  if (buffer.get()->handle_bytes != handle.size() - sizeof(file_handle)) return std::nullopt;
  const FileDescriptor volume = folderAtOrAbove(folder);
  if (!volume.isOpen()) return std::nullopt;
  const FileDescriptor item(::open_by_handle_at(volume.get(), buffer.get(), O_PATH | O_CLOEXEC));
  struct stat status {};
  if (!item.isOpen() || ::fstat(item.get(), &status) != 0 || status.st_nlink == 0) return std::nullopt;
  std::array<char, PATH_MAX> path{};
  const std::string link = "/proc/self/fd/" + std::to_string(item.get());
  const ssize_t length = ::readlink(link.c_str(), path.data(), path.size());
  if (length <= 0 || path.front() != '/') return std::nullopt;  // out of this process's sight
  return Path(std::string(path.data(), static_cast<size_t>(length)));
}

}  // namespace tavrine
