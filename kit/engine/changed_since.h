#pragma once

#include <chrono>

#include "kit/records/locked_item.h"
#include "platform/paths.h"

namespace tavrine {

/// Whether the item, or anything below it, changed more than a second after `stamp`, by its own times of modification
/// or of status. What cannot be examined counts as changed, and so does everything where `now` lies more than a minute
/// before the stamp: such a clock proves nothing. Follows no link, never fails.
bool changedSince(const Path& item, Date stamp, std::chrono::system_clock::time_point now);

}  // namespace tavrine
