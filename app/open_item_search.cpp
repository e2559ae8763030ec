#include "app/open_item_search.h"

#include "kit/errors/tavrine_error.h"
#include "kit/records/locked_extension.h"
#include "platform/file_items.h"

namespace tavrine {

std::optional<OpenItem> findOpenItem(const std::vector<OpenItem>& items, const Path& path) {
  const std::string wanted = canonicalPath(path);
  for (const OpenItem& item : items) {
    for (const Path& place : {item.lockedURL, item.mountPoint, item.contentURL()}) {
      if (canonicalPath(place) == wanted) return item;
    }
  }
  if (pathExtension(path) != lockedExtension) throw TavrineError::notLocked();
  if (!isSomethingAt(path)) throw TavrineError::notFound();
  return std::nullopt;
}

}  // namespace tavrine
