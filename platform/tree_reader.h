#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "platform/file_status.h"
#include "platform/paths.h"

namespace tavrine {

/// A regular file open for reading, from its start. For one thread.
class ReadableFile final {
 public:
  ReadableFile(ReadableFile&&) noexcept;
  ReadableFile(const ReadableFile&) = delete;
  ReadableFile& operator=(const ReadableFile&) = delete;
  ~ReadableFile();

  /// As it was when the file was opened.
  const FileStatus& status() const { return status_; }

  /// Reads what comes next and returns how much that is; 0 at the end alone. Throws the system's error.
  size_t read(std::span<std::byte> buffer);

 private:
  friend class TreeReader;

  ReadableFile(int descriptor, FileStatus status, Path path);

  int descriptor_;
  FileStatus status_;
  Path path_;
};

/// Looks at the item at a path and at what is below it, through one descriptor of that item: renaming it does no harm,
/// and no link put in the place of a folder leads anywhere else. Relative paths are raw bytes; the empty one is the
/// root itself. Any thread may use it. Errors are `std::filesystem::filesystem_error` with the item's whole path; a
/// link on the way is one of them (ELOOP or ENOTDIR).
class TreeReader final {
 public:
  /// A link at the end of `root` is not followed: it is the root. Those before it are.
  explicit TreeReader(const Path& root);
  TreeReader(const TreeReader&) = delete;
  TreeReader& operator=(const TreeReader&) = delete;
  ~TreeReader();

  struct Item {
    FileStatus status;
    std::string linkTarget;     ///< of a link, as it is stored
    bool canBeEntered = false;  ///< whether this user, by their effective rights, may list and search a folder
  };

  /// Opens nothing for reading, whatever the item is.
  Item examine(const std::string& relativePath) const;

  FileStatus status(const std::string& relativePath) const;

  /// Opens a regular file. Anything else is an error and is never waited for.
  ReadableFile open(const std::string& relativePath) const;

  /// Whether the path of the root still leads to it.
  bool isStillInPlace() const;

 private:
  Path pathOf(const std::string& relativePath) const;

  const Path root_;
  const int descriptor_;
};

}  // namespace tavrine
