#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// Which locked items are unlocked: what the application tells its file-manager extension, in a small file that both
/// can reach. Every start of the machine detaches all images, so a record from an earlier boot says nothing. A plain
/// value; its operations keep nothing in memory, and of several writers the last one wins.
struct SharedState {
  static constexpr std::string_view groupIdentifier = "Q7R2K9MZ4T.com.orvandel.tavrine";

  std::vector<std::string> unlockedPaths;  ///< canonical paths of the locked items (not of their contents)
  int64_t bootTime;                        ///< when the machine was started, in seconds since 1970-01-01 UTC

  /// The file both sides use; nothing where the system gives no place for it.
  static std::optional<Path> defaultURL();

  /// The record in `file`; nothing where there is no file, it cannot be read or it does not fit the format. Never
  /// throws.
  static std::optional<SharedState> read(const std::optional<Path>& file);

  /// Puts the record in `file`, whole and durable, and creates the folder it is in when missing. Throws
  /// `std::filesystem::filesystem_error`; the old file then stays.
  void write(const Path& file) const;

  /// The unlocked paths, when the record is of the boot that began at `currentBootTime`; nothing otherwise.
  std::optional<std::set<std::string>> unlockedSet(int64_t currentBootTime) const;

  /// The boot time of this moment, in seconds; 0 where the kernel does not tell.
  static int64_t currentBootTime();

  bool operator==(const SharedState&) const = default;
};

}  // namespace tavrine
