#pragma once

#include <optional>

#include "platform/password.h"
#include "platform/paths.h"
#include "platform/stop_request.h"

namespace tavrine {

/// A file, pipe or standard input that a password is read from. Reads no byte beyond the line it gives, so that a pipe
/// can hold one password behind another.
class SecretInput final {
 public:
  /// The longest line given whole, in bytes; of a longer one comes one byte more.
  static constexpr size_t longestLine = 4096;

  /// Throws `std::filesystem::filesystem_error` where it cannot be opened, or is a folder.
  explicit SecretInput(const Path& file);
  static SecretInput standardInput();

  SecretInput(SecretInput&& other) noexcept;
  SecretInput& operator=(SecretInput&&) = delete;
  SecretInput(const SecretInput&) = delete;
  SecretInput& operator=(const SecretInput&) = delete;
  ~SecretInput();

  /// Whether it is a file on disk that another user, or a group, may read.
  bool othersMayRead() const;

  /// The next line without its end (LF or CR LF). Waits for it. Nothing at the end of the input, and once `stop` is
  /// raised. Throws `std::system_error` for a read that failed.
  std::optional<Password> readLine(const StopRequest& stop);

 private:
  SecretInput(int fd, bool isOwned) : fd_(fd), isOwned_(isOwned) {}

  int fd_;
  bool isOwned_;
};

}  // namespace tavrine
