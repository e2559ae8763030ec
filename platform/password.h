#pragma once

#include <string>
#include <utility>

#include "platform/system.h"

namespace tavrine {

/// Overwrites a text that held a secret and empties it.
inline void wipe(std::string& text) {
  text.resize(text.capacity());
  wipeMemory(text.data(), text.size());
  text.clear();
}

/// A password, in the exact bytes that open the images: never normalised, compared byte by byte. Each copy is wiped
/// when it ends, and nothing prints one.
class Password final {
 public:
  /// Takes the caller's text and wipes what the move leaves of it.
  explicit Password(std::string&& text) noexcept : text_(std::move(text)) { wipe(text); }
  Password(const Password&) = default;
  Password(Password&& other) noexcept : text_(std::move(other.text_)) { wipe(other.text_); }
  Password& operator=(const Password& other) {
    if (this == &other) return *this;
    wipe(text_);
    text_ = other.text_;
    return *this;
  }
  Password& operator=(Password&& other) noexcept {
    if (this == &other) return *this;
    wipe(text_);
    text_ = std::move(other.text_);
    wipe(other.text_);
    return *this;
  }
  ~Password() { wipe(text_); }

  /// The bytes; a caller that copies them wipes its copy.
  const std::string& text() const { return text_; }

  bool operator==(const Password&) const = default;

 private:
  std::string text_;
};

}  // namespace tavrine
