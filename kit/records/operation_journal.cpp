#include "kit/records/operation_journal.h"

#include "kit/records/json_codec.h"

namespace tavrine {
namespace {

using nlohmann::json;

json encoded(const FileIdentity& identity) {
  return {{"inode", identity.inode},
          {"birthSeconds", identity.birthSeconds},
          {"birthNanoseconds", identity.birthNanoseconds}};
}

FileIdentity decodedIdentity(const json& record) {
  using strict_json::required;
  return {strict_json::unsignedInteger(required(record, "inode")),
          strict_json::integer(required(record, "birthSeconds")),
          strict_json::integer(required(record, "birthNanoseconds"))};
}

json encoded(const JournalEntry& entry) {
  json record = {{"id", JSONCodec::value(entry.id)},
                 {"kind", rawValue(entry.kind)},
                 {"originalPath", JSONCodec::value(entry.originalPath)},
                 {"partialPath", JSONCodec::value(entry.partialPath)},
                 {"finalPath", JSONCodec::value(entry.finalPath)}};
  if (entry.lockedIdentity) record["lockedIdentity"] = encoded(*entry.lockedIdentity);
  if (entry.lockedAt) record["lockedAt"] = JSONCodec::value(*entry.lockedAt);
  if (entry.deletingPath) record["deletingPath"] = JSONCodec::value(*entry.deletingPath);
  return record;
}

JournalEntry decoded(const json& record) {
  using strict_json::required;
  JournalEntry entry{.id = JSONCodec::uuid(required(record, "id")),
                     .kind = JSONCodec::namedCase(required(record, "kind"), journalEntryKind),
                     .originalPath = JSONCodec::path(required(record, "originalPath")),
                     .partialPath = JSONCodec::path(required(record, "partialPath")),
                     .finalPath = JSONCodec::path(required(record, "finalPath"))};
  if (const auto* identity = JSONCodec::present(record, "lockedIdentity")) {
    entry.lockedIdentity = decodedIdentity(*identity);
  }
  if (const auto* date = JSONCodec::present(record, "lockedAt")) entry.lockedAt = JSONCodec::date(*date);
  if (const auto* path = JSONCodec::present(record, "deletingPath")) entry.deletingPath = JSONCodec::path(*path);
  return entry;
}

void save(const std::vector<JournalEntry>& entries, const Path& file) {
  json list = json::array();
  for (const JournalEntry& entry : entries) list.push_back(encoded(entry));
  JSONCodec::writePrivately(JSONCodec::encoded(list), file);
}

void drop(std::vector<JournalEntry>& entries, const Uuid& id) {
  std::erase_if(entries, [&id](const JournalEntry& entry) { return entry.id == id; });
}

}  // namespace

std::vector<JournalEntry> OperationJournal::load() const {
  return loadReportingDamage().entries;
}

OperationJournal::Loaded OperationJournal::loadReportingDamage() const {
  auto loaded = JSONCodec::loadSettingAsideDamage<JournalEntry>(fileURL_, decoded);
  return {std::move(loaded.value), loaded.damaged};
}

void OperationJournal::add(const JournalEntry& entry) const {
  std::vector<JournalEntry> entries = load();
  drop(entries, entry.id);
  entries.push_back(entry);
  save(entries, fileURL_);
}

void OperationJournal::remove(const Uuid& id) const {
  std::vector<JournalEntry> entries = load();
  drop(entries, id);
  save(entries, fileURL_);
}

}  // namespace tavrine
