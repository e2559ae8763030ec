#pragma once

#include <vector>

#include "kit/records/journal_entry.h"
#include "platform/paths.h"

namespace tavrine {

/// The operations under way, in one JSON file, so that the next start can finish or undo what a crash cut short. Works
/// like `ItemIndex`: nothing in memory, every change whole and durable before it returns, damage set aside.
class OperationJournal final {
 public:
  explicit OperationJournal(Path fileURL) : fileURL_(std::move(fileURL)) {}

  const Path& fileURL() const { return fileURL_; }

  struct Loaded {
    std::vector<JournalEntry> entries;
    bool damaged = false;  ///< a damaged file was set aside just now
  };

  std::vector<JournalEntry> load() const;
  Loaded loadReportingDamage() const;

  /// Puts the entry at the end, in place of every one with the same `id`.
  void add(const JournalEntry& entry) const;

  /// Drops every entry with this `id`. None is no error.
  void remove(const Uuid& id) const;

 private:
  Path fileURL_;
};

}  // namespace tavrine
