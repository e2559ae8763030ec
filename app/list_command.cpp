#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "app/commands.h"
#include "app/session.h"
#include "app/table.h"
#include "platform/byte_count.h"

namespace tavrine {
namespace {

/// One item, as the disk and the kernel have it at this moment.
struct Listed {
  LockedItem item;
  std::optional<OpenItem> open;
  std::optional<Path> place;  ///< of the image; nothing where it cannot be found

  std::string state() const { return open ? "unlocked" : place ? "locked" : "missing"; }
  Path where() const { return place.value_or(item.lastKnownPath); }
};

std::vector<Listed> listedItems(const Locker& locker) {
  const std::vector<OpenItem> open = locker.openItems();
  std::vector<Listed> result;
  for (const LockedItem& item : locker.index.load()) {
    Listed listed{item, std::nullopt, ItemIndex::locate(item)};
    const auto found = std::find_if(open.begin(), open.end(), [&](const OpenItem& one) { return one.id == item.id; });
    if (found != open.end()) {
      listed.open = *found;
      listed.place = found->lockedURL;
    }
    result.push_back(std::move(listed));
  }
  return result;
}

TableRow row(const Listed& listed) {
  const LockedItem& item = listed.item;
  const std::string size = item.contentSize ? byteCountText(*item.contentSize) : "?";
  const std::string where = listed.where().string() + (listed.place ? "" : " (not found; id " + item.id.text() + ")");
  return {item.displayName,
          listed.state(),
          std::string(rawValue(item.kind)),
          size,
          where,
          std::to_string(item.passwordGeneration)};
}

JsonLine json(const Listed& listed) {
  const LockedItem& item = listed.item;
  JsonLine line("item");
  line.addPath("name", item.displayName).add("state", listed.state()).add("kind", rawValue(item.kind));
  if (item.contentSize) line.add("size", *item.contentSize);
  line.addPath("lockedPath", listed.where());
  if (listed.open) line.addPath("contentPath", listed.open->contentURL());
  line.add("passwordGeneration", item.passwordGeneration).add("id", item.id.text());
  return line.add("stage", rawValue(item.stage));
}

std::string joinedByTabs(const TableRow& cells) {
  std::string line;
  for (const std::string& cell : cells) line += (&cell == &cells.front() ? "" : "\t") + cell;
  return line;
}

/// The lines of all items, with a heading for people.
std::vector<std::string> lines(const std::vector<Listed>& items, const Console& console) {
  std::vector<TableRow> rows;
  if (console.isForPeople() && !items.empty()) rows.push_back({"NAME", "STATE", "KIND", "SIZE", "WHERE", "PASSWORD"});
  for (const Listed& listed : items) {
    rows.push_back(row(listed));
    for (std::string& cell : rows.back()) cell = console.shown(cell);
  }
  if (console.isForPeople()) return alignedLines(rows);
  std::vector<std::string> result;
  for (const TableRow& cells : rows) result.push_back(joinedByTabs(cells));
  return result;
}

}  // namespace

ExitCode runList(const Run& run) {
  const Session session(run.supportDirectory, run.console, *run.interruption.token());
  const std::vector<Listed> items = listedItems(session.locker());
  const std::vector<std::string> texts = lines(items, run.console);
  if (items.empty() && run.console.isForPeople()) run.console.remark("No item is locked.");
  const size_t heading = texts.size() - items.size();
  for (size_t at = 0; at < heading; ++at) run.console.answer(texts[at], JsonLine("heading"));
  for (size_t at = 0; at < items.size(); ++at) run.console.answer(texts[heading + at], json(items[at]));
  return ExitCode::done;
}

}  // namespace tavrine
