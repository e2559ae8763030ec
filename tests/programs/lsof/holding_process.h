#pragma once

#include <functional>

#include "platform/linux/file_descriptor.h"

namespace tavrine {

/// A process that opens what `hold` opens and keeps it until this object goes, which waits for its end. It holds
/// nothing else that the test has open but the standard streams, and ends also when the test program is killed.
class HoldingProcess final {
 public:
  /// Returns when `hold` has returned, or has replaced the process by a program that reads its standard input to the
  /// end. Throws `std::runtime_error` where neither came about.
  explicit HoldingProcess(const std::function<void()>& hold);
  HoldingProcess(const HoldingProcess&) = delete;
  HoldingProcess& operator=(const HoldingProcess&) = delete;
  ~HoldingProcess();

  int pid() const { return pid_; }

 private:
  int pid_ = -1;
  FileDescriptor stop_;
};

}  // namespace tavrine
