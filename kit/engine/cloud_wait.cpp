#include <algorithm>
#include <chrono>
#include <thread>

#include "kit/engine/cloud_files.h"
#include "kit/engine/locker.h"
#include "kit/errors/tavrine_error.h"

namespace tavrine {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds pollInterval(1);

}  // namespace

bool Locker::waitForCloudDownloads(const Path& url, const std::string& name, const Cancel& cancel,
                                   const Progress& progress) const {
  std::vector<Path> pending = CloudFiles::notDownloaded(url);
  if (pending.empty()) return false;
  progress(LockStep::downloading);
  CloudFiles::requestDownload(pending);
  const Clock::time_point start = Clock::now();
  const auto left = [&] { return Seconds(cloudDownloadTimeout) - Seconds(Clock::now() - start); };
  while (left() > Seconds(0)) {
    if (cancel) cancel->check();
    std::this_thread::sleep_for(std::clamp(left(), Seconds(0), pollInterval));
    pending = CloudFiles::notDownloaded(url);
    if (pending.empty()) break;
  }
  if (cancel) cancel->check();
  if (!pending.empty()) throw TavrineError::stillInICloud(name);
  return true;
}

}  // namespace tavrine
