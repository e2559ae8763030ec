#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "kit/records/locked_item.h"
#include "platform/paths.h"

namespace tavrine {

/// The list of all locked items, in one JSON file. Keeps nothing in memory: every operation reads the file, every
/// change writes it anew, whole and durable. A file that does not decode is set aside, never deleted, and the list is
/// empty. Errors are the platform's own. Without a lock: of two changes at once the later wins.
class ItemIndex final {
 public:
  static constexpr std::string_view fileName = "items.json";  ///< in the support directory

  explicit ItemIndex(Path fileURL) : fileURL_(std::move(fileURL)) {}

  const Path& fileURL() const { return fileURL_; }

  struct Loaded {
    std::vector<LockedItem> items;
    bool damaged = false;  ///< a damaged file was set aside just now
  };

  std::vector<LockedItem> load() const;
  Loaded loadReportingDamage() const;

  /// The list as it is, for whoever does not hold the `SupportLock`: a file that does not decode stays where it is and
  /// gives nothing.
  std::optional<std::vector<LockedItem>> peek() const;

  void save(const std::vector<LockedItem>& items) const;

  /// Replaces the record with this `id` in its place, or appends it.
  void upsert(const LockedItem& item) const;

  /// Drops every record with this `id`. None is no error.
  void remove(const Uuid& id) const;

  /// The first record whose image is at `url`; nothing where none is.
  std::optional<LockedItem> item(const Path& url) const;

  /// Where the record's image is: by its bookmark, else at its last known path. Never fails.
  static std::optional<Path> locate(const LockedItem& item);

  /// The record with its image at `url`: a new bookmark and last known path. Stores nothing.
  static LockedItem refreshed(const LockedItem& item, const Path& url);

 private:
  Path fileURL_;
};

}  // namespace tavrine
