#include "platform/sha256.h"

#include <openssl/evp.h>

#include <stdexcept>
#include <string_view>

namespace tavrine {
namespace {

struct FreeContext {
  void operator()(EVP_MD_CTX* context) const { ::EVP_MD_CTX_free(context); }
};

struct FreeAlgorithm {
  void operator()(EVP_MD* algorithm) const { ::EVP_MD_free(algorithm); }
};

void require(bool success) {
  if (!success) throw std::runtime_error("SHA-256 cannot be computed here.");
}

/// Fetched once: the library looks it up under a lock, which many small files would feel.
const EVP_MD* algorithm() {
  static const std::unique_ptr<EVP_MD, FreeAlgorithm> fetched(::EVP_MD_fetch(nullptr, "SHA256", nullptr));
  require(fetched != nullptr);
  return fetched.get();
}

}  // namespace

struct Sha256::Context {
  const std::unique_ptr<EVP_MD_CTX, FreeContext> value{::EVP_MD_CTX_new()};
};

Sha256::Sha256() : context_(std::make_unique<Context>()) {
  require(context_->value != nullptr);
  start();
}

Sha256::~Sha256() = default;

void Sha256::start() {
  require(::EVP_DigestInit_ex2(context_->value.get(), algorithm(), nullptr) == 1);
}

void Sha256::add(std::span<const std::byte> data) {
  require(::EVP_DigestUpdate(context_->value.get(), data.data(), data.size()) == 1);
}

Sha256::Digest Sha256::finish() {
  Digest digest{};
  unsigned int length = 0;
  require(::EVP_DigestFinal_ex(context_->value.get(), digest.data(), &length) == 1 && length == digest.size());
  start();
  return digest;
}

std::string Sha256::hexadecimal(const Digest& digest) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  text.reserve(2 * digest.size());
  for (const uint8_t byte : digest) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace tavrine
