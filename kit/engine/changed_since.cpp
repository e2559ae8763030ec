#include "kit/engine/changed_since.h"

#include <exception>

#include "kit/tools/file_walk.h"
#include "platform/file_items.h"

namespace tavrine {
namespace {

using namespace std::chrono_literals;

constexpr auto tolerance = 1s;  // stamps are rounded to the whole second
constexpr auto clockTolerance = 60s;

/// Ends the walk at the first change.
class FoundChange final : public std::exception {};

bool isLater(const FileStatus& status, const FileTime& moment) {
  return status.modified > moment || status.changed > moment;
}

bool hasChange(const Path& item, const FileTime& moment) {
  const FileStatus status = statusOf(item);
  if (isLater(status, moment)) return true;
  if (status.type != FileType::folder) return false;
  FileWalk::walk(item, [&moment](const FileWalk::Entry& entry) {
    if (entry.problem || isLater(entry.info, moment)) throw FoundChange();
    return FileWalk::Next::descend;
  });
  return false;
}

}  // namespace

bool changedSince(const Path& item, Date stamp, std::chrono::system_clock::time_point now) {
  if (now < stamp - clockTolerance) return true;
  try {
    return hasChange(item, {(stamp + tolerance).time_since_epoch().count(), 0});
  } catch (const std::exception&) {  // a change, or something that cannot be examined
    return true;
  }
}

}  // namespace tavrine
