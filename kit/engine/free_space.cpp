#include "kit/engine/free_space.h"

#include "kit/errors/tavrine_error.h"

namespace tavrine {

void requireFreeSpace(const Locker& locker, int64_t size, const Path& folder) {
  const int64_t needed = size + locker.spaceMargin;
  const auto available = Locker::availableSpace(folder);
  if (available && *available < needed) throw TavrineError::notEnoughSpace(needed, *available);
}

}  // namespace tavrine
