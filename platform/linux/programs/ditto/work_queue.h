#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/linux/programs/ditto/entry.h"

namespace tavrine {

/// A bounded queue of entries and the threads that work it off. One thread fills it.
class WorkQueue final {
 public:
  /// `work` is called by several threads at a time and must not throw.
  WorkQueue(size_t threads, std::function<void(Entry)> work);
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;

  /// Waits until all is done.
  ~WorkQueue();

  /// Waits while the queue is full.
  void push(Entry entry);

  /// Waits until everything pushed so far is done.
  void waitUntilIdle();

 private:
  void serve();

  const std::function<void(Entry)> work_;
  std::mutex mutex_;
  std::condition_variable isFilled_;
  std::condition_variable isRelieved_;
  std::deque<Entry> entries_;
  size_t atWork_ = 0;
  bool isClosed_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace tavrine
