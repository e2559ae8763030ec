#pragma once

#include <mutex>
#include <string>

#include "kit/errors/activity.h"

namespace tavrine {

/// The program's `Activity`, guarded: the thread that works and the one that hears of signals share it.
class RunningWork final {
 public:
  /// Work is registered for as long as this lives.
  class Entry final {
   public:
    Entry(RunningWork& work, std::string description);
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
    ~Entry();

   private:
    RunningWork& work_;
    const Uuid id_;
  };

  void beginQuitting();
  bool acceptsNewWork() const;

  /// What runs, as prose; empty when nothing does.
  std::string description() const;

 private:
  mutable std::mutex lock_;
  Activity activity_;
};

}  // namespace tavrine
