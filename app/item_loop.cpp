#include "app/item_loop.h"

namespace tavrine {

void ItemLoop::each(const std::vector<Path>& items, const std::string& doing, const Handle& handle) {
  for (const Path& item : items) outcome_.add(one(item, doing, handle));
}

ExitCode ItemLoop::one(const Path& item, const std::string& doing, const Handle& handle) {
  if (!run_.work.acceptsNewWork()) {
    run_.console.failure(item, {ExitCode::cancelled, "cancelled", std::string(Activity::quittingRefusal)});
    return ExitCode::cancelled;
  }
  const RunningWork::Entry entry(run_.work, doing + " " + lastComponent(item));
  ExitCode code = ExitCode::done;
  try {
    handle(item);
  } catch (const std::exception& error) {  // of one item: the next ones are still to be handled
    const Failure failure = failureOf(error);
    run_.console.failure(item, failure);
    code = failure.code;
  }
  session_.publish();
  return code;
}

}  // namespace tavrine
