#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tavrine {

/// Computes SHA-256 digests, one after the other. For one thread.
class Sha256 final {
 public:
  using Digest = std::array<uint8_t, 32>;

  /// Throws `std::runtime_error`, here and below, where the system's library gives no SHA-256.
  Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;
  ~Sha256();

  void add(std::span<const std::byte> data);

  /// The digest of all that was added since the last one; what is added next belongs to a new one.
  Digest finish();

  /// 64 lower-case hexadecimal digits.
  static std::string hexadecimal(const Digest& digest);

 private:
  struct Context;

  void start();

  std::unique_ptr<Context> context_;
};

}  // namespace tavrine
