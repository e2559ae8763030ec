#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "app/console.h"
#include "app/progress_line.h"
#include "app/tree_size.h"
#include "kit/engine/lock_step.h"
#include "platform/paths.h"

namespace tavrine {

/// Shows on a terminal how far an operation is, for as long as it lives. A thread of its own watches what grows on disk
/// and how much this process reads; the operation only tells its steps, and is neither slowed nor touched. Shows
/// nothing where the console wants no progress.
class ProgressDisplay final {
 public:
  struct Plan {
    std::string name;
    Path folder;                                ///< where the operation builds
    std::string suffix;                         ///< of what it builds there
    std::optional<Path> source = std::nullopt;  ///< measured for the total
    int64_t totalBytes = 0;                     ///< the total where there is no `source`; 0 where nobody knows
  };

  ProgressDisplay(Console& console, Plan plan);
  ProgressDisplay(const ProgressDisplay&) = delete;
  ProgressDisplay& operator=(const ProgressDisplay&) = delete;
  ~ProgressDisplay() { stop(); }

  /// For the operation; good as long as this lives.
  Progress callback();

  /// Takes the line away, for good.
  void stop();

 private:
  using Clock = std::chrono::steady_clock;

  void watch();
  bool isStopped() const;
  bool waitStopped(Clock::duration time);
  ProgressState measured(const TreeSize& total);
  int64_t builtBytes();
  std::set<std::string> namesBeingBuilt() const;

  Console& console_;
  const Plan plan_;
  const std::set<std::string> before_;
  std::optional<Path> built_;  ///< of the watching thread alone

  mutable std::mutex lock_;
  std::condition_variable changed_;
  bool isStopped_ = false;
  LockStep step_ = LockStep::preparing;
  Clock::time_point stepBegan_ = Clock::now();
  int64_t readBefore_ = 0;

  std::thread watcher_;
};

}  // namespace tavrine
