#include "kit/records/item_index.h"

#include <algorithm>

#include "kit/records/json_codec.h"
#include "platform/base64.h"
#include "platform/bookmark.h"
#include "platform/file_items.h"
#include "platform/path_text.h"

namespace tavrine {
namespace {

using nlohmann::json;

std::string bytesFromText(const json& value) {
  auto bytes = base64Bytes(strict_json::text(value));
  if (!bytes) throw UnreadableRecord("base64 was expected");
  return *std::move(bytes);
}

json encoded(const LockedItem& item) {
  json record = {{"id", JSONCodec::value(item.id)},
                 {"displayName", textFromPath(item.displayName)},
                 {"kind", rawValue(item.kind)},
                 {"lastKnownPath", JSONCodec::value(item.lastKnownPath)},
                 {"createdAt", JSONCodec::value(item.createdAt)},
                 {"passwordGeneration", item.passwordGeneration},
                 {"stage", rawValue(item.stage)}};
  if (item.bookmark) record["bookmark"] = base64Text(*item.bookmark);
  if (item.originalPath) record["originalPath"] = JSONCodec::value(*item.originalPath);
  if (item.contentSize) record["contentSize"] = *item.contentSize;
  return record;
}

LockedItem decoded(const json& record) {
  using strict_json::required;
  LockedItem item{.id = JSONCodec::uuid(required(record, "id")),
                  .displayName = pathFromText(strict_json::text(required(record, "displayName"))),
                  .kind = JSONCodec::namedCase(required(record, "kind"), lockedItemKind),
                  .bookmark = std::nullopt,
                  .lastKnownPath = JSONCodec::path(required(record, "lastKnownPath")),
                  .createdAt = JSONCodec::date(required(record, "createdAt")),
                  .passwordGeneration = strict_json::integer(required(record, "passwordGeneration")),
                  .stage = JSONCodec::namedCase(required(record, "stage"), lockedItemStage)};
  if (const auto* bookmark = JSONCodec::present(record, "bookmark")) item.bookmark = bytesFromText(*bookmark);
  if (const auto* original = JSONCodec::present(record, "originalPath")) item.originalPath = JSONCodec::path(*original);
  if (const auto* size = JSONCodec::present(record, "contentSize")) item.contentSize = strict_json::integer(*size);
  return item;
}

/// Whether `locate` may find the record at that canonical path. Spares the search for each image that is gone.
bool canBeAt(const LockedItem& item, const std::string& place) {
  return (item.bookmark && isBookmarkOf(*item.bookmark, place)) || canonicalPath(item.lastKnownPath) == place;
}

}  // namespace

std::vector<LockedItem> ItemIndex::load() const {
  return loadReportingDamage().items;
}

ItemIndex::Loaded ItemIndex::loadReportingDamage() const {
  auto loaded = JSONCodec::loadSettingAsideDamage<LockedItem>(fileURL_, decoded);
  return {std::move(loaded.value), loaded.damaged};
}

std::optional<std::vector<LockedItem>> ItemIndex::peek() const {
  return JSONCodec::peek<LockedItem>(fileURL_, decoded);
}

void ItemIndex::save(const std::vector<LockedItem>& items) const {
  json list = json::array();
  for (const LockedItem& item : items) list.push_back(encoded(item));
  JSONCodec::writePrivately(JSONCodec::encoded(list), fileURL_);
}

void ItemIndex::upsert(const LockedItem& item) const {
  std::vector<LockedItem> items = load();
  const auto known =
      std::find_if(items.begin(), items.end(), [&item](const LockedItem& other) { return other.id == item.id; });
  if (known != items.end()) {
    *known = item;
  } else {
    items.push_back(item);
  }
  save(items);
}

void ItemIndex::remove(const Uuid& id) const {
  std::vector<LockedItem> items = load();
  std::erase_if(items, [&id](const LockedItem& item) { return item.id == id; });
  save(items);
}

std::optional<LockedItem> ItemIndex::item(const Path& url) const {
  const std::string wanted = canonicalPath(url);
  for (LockedItem& item : load()) {
    if (!canBeAt(item, wanted)) continue;
    const auto place = locate(item);
    if (place && canonicalPath(*place) == wanted) return std::move(item);
  }
  return std::nullopt;
}

std::optional<Path> ItemIndex::locate(const LockedItem& item) {
  if (item.bookmark) {
    const auto place = resolveBookmark(*item.bookmark);
    if (place && fileExists(*place)) return place;
  }
  if (fileExists(item.lastKnownPath)) return item.lastKnownPath;
  return std::nullopt;
}

LockedItem ItemIndex::refreshed(const LockedItem& item, const Path& url) {
  LockedItem updated = item;
  updated.bookmark = makeBookmark(url);
  updated.lastKnownPath = withoutSlashAtEnd(url);
  return updated;
}

}  // namespace tavrine
