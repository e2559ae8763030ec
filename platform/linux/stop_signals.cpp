#include "platform/stop_signals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/file_descriptor.h"
#include "platform/process.h"

namespace tavrine {
namespace {

bool isIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// Those not ignored: a job that was started to survive its terminal is not to be ended by it. Blocking would undo
/// that, since the kernel keeps a blocked signal even when it is ignored.
sigset_t takenSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    if (!isIgnored(signal)) ::sigaddset(&signals, signal);
  }
  return signals;
}

/// Signals blocked in the thread that makes it and in those started meanwhile.
class BlockedSignals final {
 public:
  explicit BlockedSignals(const sigset_t& signals) {
    const int error = ::pthread_sigmask(SIG_BLOCK, &signals, &before_);
    if (error != 0) throw std::system_error(error, std::generic_category(), "pthread_sigmask");
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { (void)::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }  // cannot fail for a mask it gave

 private:
  sigset_t before_{};
};

}  // namespace

class StopSignals::Watch final {
 public:
  explicit Watch(std::function<void(int)> onSignal)
      : onSignal_(std::move(onSignal)),
        taken_(takenSignals()),
        blocked_(taken_),
        signals_(::signalfd(-1, &taken_, SFD_CLOEXEC)) {
    if (!signals_.isOpen()) throw std::system_error(errno, std::generic_category(), "signalfd");
    thread_ = std::thread([this] { run(); });
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() {
    end_.raise();
    thread_.join();
  }

  const StopRequest& stop() const { return stop_; }

 private:
  void run() {
    for (int count = 0;;) {
      pollfd watched[] = {{signals_.get(), POLLIN, 0}, {end_.waitHandle(), POLLIN, 0}};
      if (::poll(watched, 2, -1) < 0) continue;  // an interruption: nothing else can befall these two
      if (watched[1].revents != 0) return;
      signalfd_siginfo signal{};
      if (::read(signals_.get(), &signal, sizeof signal) != sizeof signal) continue;
      stop_.raise();
      onSignal_(++count);
    }
  }

  const std::function<void(int)> onSignal_;
  StopRequest stop_;
  StopRequest end_;
  const sigset_t taken_;
  const BlockedSignals blocked_;
  const FileDescriptor signals_;
  std::thread thread_;
};

StopSignals::StopSignals(std::function<void(int count)> onSignal)
    : watch_(std::make_unique<Watch>(std::move(onSignal))) {
  ignoreBrokenPipes();
}

StopSignals::~StopSignals() = default;

const StopRequest& StopSignals::stop() const {
  return watch_->stop();
}

}  // namespace tavrine
