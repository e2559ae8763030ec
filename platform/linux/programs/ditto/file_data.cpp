#include "platform/linux/programs/ditto/file_data.h"

#include <unistd.h>

#include <algorithm>
#include <vector>

#include "platform/linux/programs/ditto/copy_error.h"

namespace tavrine {
namespace {

/// One call of the kernel's own copy must not run for long: it ends between calls when the program is told to.
constexpr size_t kernelCopyBytes = 16UL * 1024 * 1024;
constexpr size_t bufferBytes = 1024UL * 1024;
/// Below this size, a file is asked for holes only when it takes less room than it is long.
constexpr off_t alwaysAskedForHoles = 64L * 1024;
constexpr off_t blockBytes = 512;

/// A stretch of a file that holds data, from `begin` up to `end`.
struct Extent {
  off_t begin;
  off_t end;
};

bool mayHaveHoles(const struct stat& status) {
  return status.st_size >= alwaysAskedForHoles || status.st_blocks * blockBytes < status.st_size;
}

/// The first data at or behind `offset`; an empty extent at `size` when only a hole follows.
Extent nextData(int file, off_t offset, off_t size) {
  const off_t begin = ::lseek(file, offset, SEEK_DATA);
  if (begin < 0 && errno == ENXIO) return {size, size};
  if (begin < 0) return {offset, size};  // the file system does not tell
  const off_t end = ::lseek(file, begin, SEEK_HOLE);
  return {std::min(begin, size), end < 0 ? size : std::min(end, size)};
}

/// Copies inside the kernel as far as that goes. Returns where it stopped: for whatever reason, reading and writing
/// from there goes on or meets the same error and knows which side it came from.
off_t copyInKernel(int source, int destination, const Extent& extent) {
  off_t from = extent.begin;
  off_t to = extent.begin;
  while (from < extent.end) {
    const size_t length = std::min(static_cast<size_t>(extent.end - from), kernelCopyBytes);
    if (::copy_file_range(source, &from, destination, &to, length, 0) <= 0) break;
  }
  return to;
}

size_t readSome(int source, std::vector<char>& buffer, size_t length, off_t offset) {
  for (;;) {
    const ssize_t count = ::pread(source, buffer.data(), length, offset);
    if (count == 0) failChanged();
    if (count > 0) return static_cast<size_t>(count);
    if (errno != EINTR) fail(Side::source);
  }
}

void writeAll(int destination, const char* bytes, size_t length, off_t offset) {
  while (length > 0) {
    const ssize_t count = ::pwrite(destination, bytes, length, offset);
    if (count < 0 && errno != EINTR) fail(Side::destination);
    if (count <= 0) continue;
    bytes += count;
    length -= static_cast<size_t>(count);
    offset += count;
  }
}

void copyThroughBuffer(int source, int destination, const Extent& extent) {
  if (extent.begin >= extent.end) return;
  std::vector<char> buffer(std::min(static_cast<size_t>(extent.end - extent.begin), bufferBytes));
  for (off_t offset = extent.begin; offset < extent.end;) {
    const size_t wanted = std::min(static_cast<size_t>(extent.end - offset), buffer.size());
    const size_t count = readSome(source, buffer, wanted, offset);
    writeAll(destination, buffer.data(), count, offset);
    offset += static_cast<off_t>(count);
  }
}

/// A file that holds more than its size tells: it has just grown, or is one that the system makes up as it is read.
void refuseLonger(int source, off_t size) {
  char next = 0;
  const ssize_t count = ::pread(source, &next, sizeof next, size);
  if (count > 0) failChanged();
  if (count < 0) fail(Side::source);
}

}  // namespace

void copyFileData(int source, int destination, const struct stat& status) {
  const bool asksForHoles = mayHaveHoles(status);
  off_t written = 0;
  for (off_t offset = 0; offset < status.st_size;) {
    const Extent data = asksForHoles ? nextData(source, offset, status.st_size) : Extent{0, status.st_size};
    const off_t done = copyInKernel(source, destination, data);
    copyThroughBuffer(source, destination, {done, data.end});
    if (data.begin < data.end) written = data.end;
    offset = data.end;
  }
  if (written < status.st_size && ::ftruncate(destination, status.st_size) != 0) fail(Side::destination);
  refuseLonger(source, status.st_size);
}

}  // namespace tavrine
