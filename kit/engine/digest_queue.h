#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "kit/engine/tree_content.h"

namespace tavrine {

class TreeScan;

/// The files whose content is still to be read, in a lane for each of at most two trees. A lane holds a bounded number
/// of batches. Any thread may use it.
class DigestQueue final {
 public:
  static constexpr size_t laneCount = 2;

  struct Job {
    TreeItem* item;
    size_t position;  ///< of the item in its tree
  };
  struct Batch {
    TreeScan* tree = nullptr;
    std::vector<Job> jobs;
  };

  /// `lanes` are open from the start.
  explicit DigestQueue(size_t lanes) : openLanes_(lanes) {}

  /// Waits while the lane is full.
  void add(size_t lane, Batch batch);

  /// Says that one lane gets no more.
  void closeLane();

  /// Drops all there is and all to come, and ends every wait.
  void abandon();

  /// Waits for the next batch, from `lane` where it has one. Nothing once all lanes are closed and
  /// empty.
  std::optional<Batch> take(size_t lane);

 private:
  std::mutex mutex_;
  std::condition_variable isFilled_;
  std::condition_variable isRelieved_;
  std::array<std::deque<Batch>, laneCount> lanes_;
  size_t openLanes_;
  bool isAbandoned_ = false;
};

}  // namespace tavrine
