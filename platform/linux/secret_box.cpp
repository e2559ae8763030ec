#include "platform/secret_box.h"

#include <sodium.h>

#include <memory>
#include <new>
#include <stdexcept>

namespace tavrine {
namespace {

static_assert(SecretBox::saltBytes == crypto_pwhash_argon2id_SALTBYTES);
static_assert(SecretBox::nonceBytes == crypto_aead_xchacha20poly1305_ietf_NPUBBYTES);
static_assert(SecretBox::tagBytes == crypto_aead_xchacha20poly1305_ietf_ABYTES);
static_assert(SecretBox::leastCost.memoryBytes == crypto_pwhash_argon2id_MEMLIMIT_MIN);

void startLibrary() {
  static const bool isStarted = ::sodium_init() >= 0;
  if (!isStarted) throw std::runtime_error("the encryption library cannot be started");
}

struct SodiumFree {
  void operator()(unsigned char* memory) const { ::sodium_free(memory); }  // wipes it first
};
/// Guarded, locked into memory where the system allows, wiped at its end.
using Key = std::unique_ptr<unsigned char, SodiumFree>;

const unsigned char* bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

void require(const SecretBox::Parameters& parameters) {
  if (parameters.salt.size() != SecretBox::saltBytes || parameters.nonce.size() != SecretBox::nonceBytes) {
    throw std::invalid_argument("salt or nonce of a wrong size");
  }
}

Key keyFor(const Password& password, const SecretBox::Parameters& parameters) {
  startLibrary();
  require(parameters);
  Key key(static_cast<unsigned char*>(::sodium_malloc(crypto_aead_xchacha20poly1305_ietf_KEYBYTES)));
  if (!key) throw std::bad_alloc();
  const std::string& text = password.text();
  const KeyCost& cost = parameters.cost;
  // With the cost and the password within the library's bounds, only memory can be missing.
  if (::crypto_pwhash_argon2id(key.get(), crypto_aead_xchacha20poly1305_ietf_KEYBYTES, text.data(), text.size(),
                               bytes(parameters.salt), cost.passes, cost.memoryBytes,
                               crypto_pwhash_argon2id_ALG_ARGON2ID13) != 0) {
    throw std::bad_alloc();
  }
  return key;
}

}  // namespace

std::string SecretBox::randomBytes(size_t count) {
  startLibrary();
  std::string random(count, '\0');
  ::randombytes_buf(random.data(), count);
  return random;
}

std::string SecretBox::encrypt(std::string_view plain, const Password& password, const Parameters& parameters) {
  const Key key = keyFor(password, parameters);
  std::string encrypted(plain.size() + tagBytes, '\0');
  (void)::crypto_aead_xchacha20poly1305_ietf_encrypt(  // always succeeds
      bytes(encrypted), nullptr, bytes(plain), plain.size(), bytes(parameters.header), parameters.header.size(),
      nullptr, bytes(parameters.nonce), key.get());
  return encrypted;
}

std::optional<std::string> SecretBox::decrypt(std::string_view encrypted, const Password& password,
                                              const Parameters& parameters) {
  if (encrypted.size() < tagBytes) return std::nullopt;
  const Key key = keyFor(password, parameters);
  std::string plain(encrypted.size() - tagBytes, '\0');
  if (::crypto_aead_xchacha20poly1305_ietf_decrypt(bytes(plain), nullptr, nullptr, bytes(encrypted), encrypted.size(),
                                                   bytes(parameters.header), parameters.header.size(),
                                                   bytes(parameters.nonce), key.get()) != 0) {
    return std::nullopt;  // nothing of the plain text was written
  }
  return plain;
}

}  // namespace tavrine
