#include "kit/engine/digest_queue.h"

namespace tavrine {
namespace {

constexpr size_t batchesPerLane = 16;

}  // namespace

void DigestQueue::add(size_t lane, Batch batch) {
  std::unique_lock lock(mutex_);
  isRelieved_.wait(lock, [&] { return isAbandoned_ || lanes_[lane].size() < batchesPerLane; });
  if (isAbandoned_) return;
  lanes_[lane].push_back(std::move(batch));
  isFilled_.notify_one();
}

void DigestQueue::closeLane() {
  const std::lock_guard lock(mutex_);
  --openLanes_;
  isFilled_.notify_all();
}

void DigestQueue::abandon() {
  const std::lock_guard lock(mutex_);
  isAbandoned_ = true;
  for (auto& batches : lanes_) batches.clear();
  isFilled_.notify_all();
  isRelieved_.notify_all();
}

std::optional<DigestQueue::Batch> DigestQueue::take(size_t lane) {
  std::unique_lock lock(mutex_);
  const auto filled = [&]() -> std::deque<Batch>* {
    for (size_t index = 0; index < laneCount; ++index) {
      auto& batches = lanes_[(lane + index) % laneCount];
      if (!batches.empty()) return &batches;
    }
    return nullptr;
  };
  isFilled_.wait(lock, [&] { return filled() != nullptr || isAbandoned_ || openLanes_ == 0; });
  auto* const batches = filled();
  if (batches == nullptr) return std::nullopt;
  Batch batch = std::move(batches->front());
  batches->pop_front();
  isRelieved_.notify_all();
  return batch;
}

}  // namespace tavrine
