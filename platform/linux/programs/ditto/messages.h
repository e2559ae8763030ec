#pragma once

#include <atomic>
#include <mutex>
#include <string_view>

namespace tavrine {

/// What the program says: one line "ditto: PATH: text" on standard error each. Any thread may use it.
class Messages final {
 public:
  /// Something was not copied, or not whole.
  void error(std::string_view path, std::string_view text);

  /// Something to know that is no failure.
  void notice(std::string_view path, std::string_view text);

  bool anyError() const { return anyError_; }

 private:
  std::mutex mutex_;
  std::atomic<bool> anyError_ = false;
};

}  // namespace tavrine
