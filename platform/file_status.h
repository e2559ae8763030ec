#pragma once

#include <compare>
#include <cstdint>

namespace tavrine {

/// A point in time as the file system keeps it: since 1970-01-01 UTC.
struct FileTime {
  int64_t seconds = 0;
  int64_t nanoseconds = 0;  ///< 0 to 999,999,999
  auto operator<=>(const FileTime&) const = default;
};

/// What a file is; `unknown` where its status could not be read.
enum class FileType { unknown, regular, folder, symbolicLink, fifo, socket, characterDevice, blockDevice };

/// The status of a file itself, a symbolic link not followed. All zero where it could not be read.
struct FileStatus {
  FileType type = FileType::unknown;
  uint32_t permissions = 0;  ///< the twelve bits 07777
  int64_t size = 0;          ///< bytes
  int64_t allocated = 0;     ///< bytes on disk
  FileTime modified;
  FileTime changed;  ///< of the status
  uint64_t device = 0;
  uint64_t inode = 0;
  uint64_t links = 0;
  uint32_t owner = 0;
  uint32_t group = 0;
  bool operator==(const FileStatus&) const = default;
};

}  // namespace tavrine
