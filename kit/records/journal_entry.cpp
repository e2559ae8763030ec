#include "kit/records/journal_entry.h"

namespace tavrine {

std::string_view rawValue(JournalEntry::Kind kind) {
  return kind == JournalEntry::Kind::lock ? "lock" : "restore";
}

std::optional<JournalEntry::Kind> journalEntryKind(std::string_view text) {
  for (const auto kind : {JournalEntry::Kind::lock, JournalEntry::Kind::restore}) {
    if (text == rawValue(kind)) return kind;
  }
  return std::nullopt;
}

}  // namespace tavrine
