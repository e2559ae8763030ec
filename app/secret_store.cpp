#include "app/secret_store.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "kit/records/json_codec.h"
#include "platform/file_manager.h"

namespace tavrine {
namespace {

constexpr std::string_view magic = "TAVRSEC\n";
constexpr uint64_t version = 1;

// The header: magic, version, passes (4 bytes each), memory (8 bytes), salt, nonce; numbers with the lowest byte first.
constexpr size_t passesAt = 12;
constexpr size_t memoryAt = 16;
constexpr size_t saltAt = 24;
constexpr size_t nonceAt = saltAt + SecretBox::saltBytes;
constexpr size_t headerBytes = nonceAt + SecretBox::nonceBytes;

/// The text is filled up to a multiple of this, so that the file's size tells no password's length.
constexpr size_t blockBytes = 1024;

/// What a file may ask for at most, whoever wrote it: well above what we write, well below what would stop a machine.
constexpr KeyCost mostCost = {16, 268'435'456};

uint64_t number(std::string_view bytes) {
  uint64_t value = 0;
  for (size_t at = bytes.size(); at > 0; --at) value = value << 8 | static_cast<unsigned char>(bytes[at - 1]);
  return value;
}

void append(std::string& header, uint64_t value, size_t bytes) {
  for (size_t at = 0; at < bytes; ++at) header += static_cast<char>(value >> 8 * at & 0xff);
}

struct Parts {
  SecretBox::Parameters parameters;
  std::string_view encrypted;
};

bool isWithinBounds(uint64_t passes, uint64_t memoryBytes) {
  return passes >= SecretBox::leastCost.passes && passes <= mostCost.passes &&
         memoryBytes >= SecretBox::leastCost.memoryBytes && memoryBytes <= mostCost.memoryBytes;
}

/// Views of `bytes`; nothing where they are no store.
std::optional<Parts> partsOf(std::string_view bytes) {
  if (bytes.size() < headerBytes + blockBytes + SecretBox::tagBytes) return std::nullopt;
  if ((bytes.size() - headerBytes - SecretBox::tagBytes) % blockBytes != 0) return std::nullopt;
  if (!bytes.starts_with(magic) || number(bytes.substr(magic.size(), 4)) != version) return std::nullopt;
  const uint64_t passes = number(bytes.substr(passesAt, 4));
  const uint64_t memoryBytes = number(bytes.substr(memoryAt, 8));
  if (!isWithinBounds(passes, memoryBytes)) return std::nullopt;
  return Parts{{{static_cast<uint32_t>(passes), memoryBytes},
                bytes.substr(saltAt, SecretBox::saltBytes),
                bytes.substr(nonceAt, SecretBox::nonceBytes),
                bytes.substr(0, headerBytes)},
               bytes.substr(headerBytes)};
}

std::string header(KeyCost cost) {
  std::string header(magic);
  append(header, version, 4);
  append(header, cost.passes, 4);
  append(header, cost.memoryBytes, 8);
  return header + SecretBox::randomBytes(SecretBox::saltBytes + SecretBox::nonceBytes);
}

/// Filled up with blanks, which mean nothing behind JSON.
std::string filledUp(std::string text) {
  std::string filled;
  filled.reserve(text.size() + blockBytes);  // growing would leave copies behind
  filled += text;
  wipe(text);
  filled.append(blockBytes - filled.size() % blockBytes, ' ');
  return filled;
}

}  // namespace

SecretStore::SecretStore(const Path& supportDirectory, KeyCost cost)
    : fileURL_(supportDirectory / fileName), cost_(cost) {}

std::optional<std::string> SecretStore::bytes() const {
  try {
    return readFile(fileURL_);
  } catch (const std::filesystem::filesystem_error& error) {
    if (error.code() == std::errc::no_such_file_or_directory) return std::nullopt;
    throw;
  }
}

SecretStore::State SecretStore::state() const {
  const auto content = bytes();
  if (!content) return State::missing;
  return partsOf(*content) ? State::present : State::damaged;
}

std::optional<StoredSecret> SecretStore::open(const Password& password) const {
  const auto content = bytes();
  const auto parts = content ? partsOf(*content) : std::nullopt;
  if (!parts) throw std::runtime_error("The password store is missing or damaged.");
  auto text = SecretBox::decrypt(parts->encrypted, password, parts->parameters);
  if (!text) return std::nullopt;
  const Password wiped(std::move(*text));
  return StoredSecret::fromJSON(wiped.text());
}

void SecretStore::save(const StoredSecret& secret) const {
  const std::string start = header(cost_);
  // A `Password` wipes what it holds.
  const Password text(filledUp(secret.json()));
  const SecretBox::Parameters parameters = {cost_, std::string_view(start).substr(saltAt, SecretBox::saltBytes),
                                            std::string_view(start).substr(nonceAt), start};
  replaceFile(fileURL_, start + SecretBox::encrypt(text.text(), secret.password, parameters));
}

Path SecretStore::setAside() const {
  return JSONCodec::setAside(fileURL_);
}

}  // namespace tavrine
