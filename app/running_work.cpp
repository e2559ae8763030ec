#include "app/running_work.h"

#include <utility>

#include "kit/errors/tavrine_error.h"

namespace tavrine {
namespace {

Uuid registered(std::mutex& lock, Activity& activity, std::string description) {
  const std::lock_guard guard(lock);
  return activity.begin(std::move(description));
}

}  // namespace

RunningWork::Entry::Entry(RunningWork& work, std::string description)
    : work_(work), id_(registered(work.lock_, work.activity_, std::move(description))) {}

RunningWork::Entry::~Entry() {
  const std::lock_guard guard(work_.lock_);
  work_.activity_.end(id_);
}

void RunningWork::beginQuitting() {
  const std::lock_guard guard(lock_);
  activity_.beginQuitting();
}

bool RunningWork::acceptsNewWork() const {
  const std::lock_guard guard(lock_);
  return activity_.acceptsNewWork();
}

std::string RunningWork::description() const {
  const std::lock_guard guard(lock_);
  return TavrineError::list(activity_.descriptions());
}

}  // namespace tavrine
