#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/password.h"

namespace tavrine {

/// What it costs to make a key from a password, for us as for whoever guesses.
struct KeyCost {
  uint32_t passes;
  uint64_t memoryBytes;
  bool operator==(const KeyCost&) const = default;
};

/// Encryption under a password: the key by Argon2id, the text by XChaCha20-Poly1305. Key and intermediate buffers are
/// wiped, and kept out of swap where the system allows.
class SecretBox final {
 public:
  SecretBox() = delete;

  static constexpr size_t saltBytes = 16;
  static constexpr size_t nonceBytes = 24;
  static constexpr size_t tagBytes = 16;  ///< by which the encrypted text is longer than the plain one

  /// The least and the usual cost: that of a question a person waits for.
  static constexpr KeyCost leastCost = {1, 8192};
  static constexpr KeyCost interactiveCost = {2, 67'108'864};

  /// All that is public about an encrypted text. `salt` and `nonce` have the sizes above.
  struct Parameters {
    KeyCost cost;
    std::string_view salt;
    std::string_view nonce;
    std::string_view header;  ///< authenticated with the text, not part of it
  };

  static std::string randomBytes(size_t count);

  /// Throws `std::bad_alloc` where there is no memory for the key.
  static std::string encrypt(std::string_view plain, const Password& password, const Parameters& parameters);

  /// The plain text, which the caller wipes. Nothing for another password and for a text or header that was changed.
  /// Throws `std::bad_alloc` where there is no memory for the key.
  static std::optional<std::string> decrypt(std::string_view encrypted, const Password& password,
                                            const Parameters& parameters);
};

}  // namespace tavrine
