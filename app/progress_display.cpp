#include "app/progress_display.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string_view>
#include <utility>

#include "platform/file_items.h"
#include "platform/process.h"
#include "platform/terminal.h"

namespace tavrine {

ProgressDisplay::ProgressDisplay(Console& console, Plan plan)
    : console_(console), plan_(std::move(plan)), before_(namesBeingBuilt()) {
  if (console_.showsProgress()) watcher_ = std::thread([this] { watch(); });
}

Progress ProgressDisplay::callback() {
  return [this](LockStep step) {
    const std::lock_guard guard(lock_);
    step_ = step;
    stepBegan_ = Clock::now();
    readBefore_ = bytesReadSoFar();
    changed_.notify_all();
  };
}

void ProgressDisplay::stop() {
  if (!watcher_.joinable()) return;
  {
    const std::lock_guard guard(lock_);
    isStopped_ = true;
    changed_.notify_all();
  }
  watcher_.join();
  console_.progress("");
}

void ProgressDisplay::watch() {
  const auto stopped = [this] { return isStopped(); };
  constexpr std::chrono::milliseconds pause(200);
  if (waitStopped(pause)) return;  // what is done at once needs no line
  const TreeSize total = plan_.source ? treeSize(*plan_.source, stopped) : TreeSize{plan_.totalBytes, 0};
  for (;;) {
    const Clock::time_point begin = Clock::now();
    const ProgressState state = measured(total);
    console_.progress(progressLine(state, terminalColumns(StandardStream::error).value_or(80) - 1));
    // Looking takes at most a twentieth of the time, however large the tree is.
    const Clock::duration taken = Clock::now() - begin;
    if (waitStopped(std::max<Clock::duration>(pause, taken * 20))) return;
  }
}

bool ProgressDisplay::isStopped() const {
  const std::lock_guard guard(lock_);
  return isStopped_;
}

bool ProgressDisplay::waitStopped(Clock::duration time) {
  std::unique_lock guard(lock_);
  return changed_.wait_for(guard, time, [this] { return isStopped_; });
}

ProgressState ProgressDisplay::measured(const TreeSize& total) {
  ProgressState state{.name = plan_.name, .totalBytes = total.bytes, .items = total.items};
  int64_t readBefore = 0;
  {
    const std::lock_guard guard(lock_);
    state.step = step_;
    state.seconds = std::chrono::duration<double>(Clock::now() - stepBegan_).count();
    readBefore = readBefore_;
  }
  switch (state.step) {
    case LockStep::encrypting:
    case LockStep::restoring:
      state.doneBytes = builtBytes();
      break;
    case LockStep::verifying:  // both sides are read
      state.doneBytes = (bytesReadSoFar() - readBefore) / 2;
      break;
    default:
      state.totalBytes = 0;
  }
  return state;
}

int64_t ProgressDisplay::builtBytes() {
  if (!built_) {
    for (const std::string& name : namesBeingBuilt()) {
      if (!before_.contains(name)) built_ = plan_.folder / name;
    }
  }
  return built_ ? treeSize(*built_, [this] { return isStopped(); }).bytes : 0;
}

std::set<std::string> ProgressDisplay::namesBeingBuilt() const {
  std::set<std::string> found;
  if (!console_.showsProgress()) return found;
  try {
    for (std::string& name : namesIn(plan_.folder)) {
      if (name.starts_with(".tavrine-") && name.ends_with(plan_.suffix)) found.insert(std::move(name));
    }
  } catch (const std::filesystem::filesystem_error&) {  // the operation says what is wrong with it
  }
  return found;
}

}  // namespace tavrine
