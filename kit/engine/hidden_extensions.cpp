#include <filesystem>
#include <iostream>
#include <set>
#include <system_error>

#include "kit/engine/locker.h"
#include "kit/records/locked_extension.h"
#include "platform/hidden_extension.h"
#include "platform/text.h"

namespace tavrine {
namespace {

/// The items with an operation under way, which keep their names. None where the journal cannot be read.
std::set<Uuid> busyItems(const OperationJournal& journal) {
  std::set<Uuid> ids;
  try {
    for (const JournalEntry& entry : journal.load()) ids.insert(entry.id);
  } catch (const std::system_error&) {
    ids.clear();
  }
  return ids;
}

/// Moves unless something is in the way; whether it did.
bool didRename(const Path& from, const Path& to) {
  try {
    Locker::renameExclusively(from, to);
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace

bool Locker::setHiddenExtension(const Path& url) {
  try {
    hideExtension(url);
    return true;
  } catch (const std::filesystem::filesystem_error& error) {
    std::cerr << "tavrine: could not hide the extension of " << repairedUtf8(lastComponent(url)) << ": "
              << error.code().message() << '\n';
    return false;
  }
}

void Locker::setHiddenExtensionIfNeeded(const Path& url) {
  if (!hasHiddenExtension(url).value_or(false)) (void)setHiddenExtension(url);  // which has said why it did not
}

Path Locker::migrateNameIfNeeded(const Path& url, const LockedItem& item) const {
  if (pathExtension(url) != lockedExtension) return url;
  const std::string extension = pathExtension(item.displayName);
  if (extension.empty()) return url;
  if (item.kind != LockedItem::Kind::file && !isPackageExtension(extension)) return url;
  const std::string base = lockedBaseName(item.displayName, Form::fileOrPackage);
  if (base == item.displayName) return url;
  const auto suffix = unmigratedSuffix(nameWithoutExtension(url), item.displayName);
  if (!suffix) return url;
  const Path target = availableLockedURL(base + *suffix, url.parent_path());
  if (!didRename(url, target)) return url;
  try {
    index.upsert(ItemIndex::refreshed(item, target));
    return target;
  } catch (const std::system_error&) {
    (void)didRename(target, url);  // where it cannot go back either, the bookmark still finds it
    return url;
  }
}

bool Locker::repairHiddenExtensions() const {
  std::vector<LockedItem> items;
  try {
    items = index.load();
  } catch (const std::system_error&) {
    return false;
  }
  const std::set<Uuid> busy = busyItems(journal);
  bool wasAnyRenamed = false;
  for (const LockedItem& item : items) {
    const auto located = ItemIndex::locate(item);
    if (!located) continue;
    const Path place = busy.contains(item.id) ? *located : migrateNameIfNeeded(*located, item);
    wasAnyRenamed = wasAnyRenamed || place != *located;
    setHiddenExtensionIfNeeded(place);
  }
  return wasAnyRenamed;
}

}  // namespace tavrine
