#include "platform/linux/programs/ditto/work_queue.h"

#include <system_error>
#include <utility>

namespace tavrine {
namespace {

constexpr size_t capacity = 256;

}  // namespace

WorkQueue::WorkQueue(size_t threads, std::function<void(Entry)> work) : work_(std::move(work)) {
  try {
    while (threads_.size() < threads) threads_.emplace_back([this] { serve(); });
  } catch (const std::system_error&) {
    // The user may have no more threads; fewer do as well, and without any `push` does the work itself.
  }
}

WorkQueue::~WorkQueue() {
  {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
  }
  isFilled_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void WorkQueue::push(Entry entry) {
  if (threads_.empty()) return work_(std::move(entry));
  {
    std::unique_lock lock(mutex_);
    isRelieved_.wait(lock, [this] { return entries_.size() < capacity; });
    entries_.push_back(std::move(entry));
  }
  isFilled_.notify_one();
}

void WorkQueue::waitUntilIdle() {
  std::unique_lock lock(mutex_);
  isRelieved_.wait(lock, [this] { return entries_.empty() && atWork_ == 0; });
}

void WorkQueue::serve() {
  std::unique_lock lock(mutex_);
  for (;;) {
    isFilled_.wait(lock, [this] { return !entries_.empty() || isClosed_; });
    if (entries_.empty()) return;
    Entry entry = std::move(entries_.front());
    entries_.pop_front();
    ++atWork_;
    lock.unlock();
    isRelieved_.notify_one();
    work_(std::move(entry));
    lock.lock();
    --atWork_;
    if (entries_.empty() && atWork_ == 0) isRelieved_.notify_one();
  }
}

}  // namespace tavrine
