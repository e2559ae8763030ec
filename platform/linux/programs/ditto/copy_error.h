#pragma once

#include <cerrno>
#include <exception>
#include <string>
#include <string_view>

namespace tavrine {

/// Which of an entry's two paths something concerns.
enum class Side { source, destination };

/// Why one entry could not be copied, or not whole.
class CopyError final : public std::exception {
 public:
  /// The system's reason `code`, behind `what` where that says more than the path does.
  CopyError(Side side, int code, std::string_view what = {});

  /// A reason of our own.
  CopyError(Side side, std::string_view reason) : side_(side), reason_(reason) {}

  const char* what() const noexcept override { return reason_.c_str(); }
  Side side() const { return side_; }

  /// Whether no other entry can be copied either: the target file system is full, read-only or gone.
  bool concernsAll() const;

 private:
  Side side_;
  int code_ = 0;
  bool isOwnAffair_ = false;
  std::string reason_;
};

/// Throws what errno says.
[[noreturn]] inline void fail(Side side, std::string_view what = {}) {
  throw CopyError(side, errno, what);
}

/// Throws that the source is no longer what it was when its copy was begun.
[[noreturn]] inline void failChanged() {
  throw CopyError(Side::source, "changed while it was copied");
}

}  // namespace tavrine
