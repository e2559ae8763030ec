#include "kit/tools/process_runner.h"

#include <chrono>
#include <mutex>
#include <thread>

#include "kit/errors/tavrine_error.h"
#include "platform/process.h"
#include "platform/text.h"

namespace tavrine {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds pollInterval(20);

void ignoreSIGPIPE() {
  static std::once_flag once;
  std::call_once(once, ignoreBrokenPipes);
}

/// What the reader of the output hands to the thread that supervises the child.
class OutputBuffer final {
 public:
  void replaceData(std::string bytes) {
    const std::lock_guard guard(lock_);
    data_ = std::move(bytes);
  }

  std::string data() const {
    const std::lock_guard guard(lock_);
    return data_;
  }

 private:
  mutable std::mutex lock_;
  std::string data_;
};

bool isCancelled(const ProcessOptions& options) {
  return options.cancel && options.cancel->isCancelled();
}

/// Whether the time that began at `start` is over. In floating point, so that no limit is too long to be added to a
/// clock.
bool isOver(Clock::time_point start, const std::optional<double>& timeoutSeconds) {
  return timeoutSeconds && std::chrono::duration<double>(Clock::now() - start).count() >= *timeoutSeconds;
}

/// Returns when the child has ended or was asked to; whether it was asked because its time was over.
bool supervise(ChildProcess& child, const ProcessOptions& options) {
  const Clock::time_point start = Clock::now();
  while (child.isRunning()) {
    if (isCancelled(options)) {
      child.terminate();
      return false;
    }
    if (isOver(start, options.timeoutSeconds)) {
      child.terminate();
      return true;
    }
    child.waitAtMost(pollInterval);
  }
  return false;
}

}  // namespace

ProcessResult ProcessRunner::run(const Path& executable, const std::vector<std::string>& arguments,
                                 const ProcessOptions& options) {
  ignoreSIGPIPE();
  Pipe input;
  Pipe output;
  OutputBuffer buffer;
  // Joined at the latest where this function is left: a failed launch has closed the other end of what it reads.
  std::jthread reader([&output, &buffer] { buffer.replaceData(output.readToEnd()); });
  ChildProcess child({executable, arguments, input, output});
  if (options.input) (void)input.write(*options.input);  // a child that reads no further knows what it does
  input.closeWriteEnd();
  const bool timedOut = supervise(child, options);
  const int32_t status = child.waitForExit();
  reader.join();
  if (isCancelled(options)) throw TavrineError::cancelled();
  return {status, repairedUtf8(buffer.data()), timedOut};
}

}  // namespace tavrine
