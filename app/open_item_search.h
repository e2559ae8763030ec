#pragma once

#include <optional>
#include <vector>

#include "kit/engine/open_item.h"
#include "platform/paths.h"

namespace tavrine {

/// The unlocked item that `path` names: by its locked image, or by where its contents are. Nothing for one that is
/// locked. Throws `TavrineError` `notLocked` or `notFound` for what is no locked item at all.
std::optional<OpenItem> findOpenItem(const std::vector<OpenItem>& items, const Path& path);

}  // namespace tavrine
