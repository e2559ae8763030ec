#include "kit/records/stored_secret.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "kit/records/strict_json.h"
#include "platform/text.h"

namespace tavrine {
namespace {

using nlohmann::json;

/// A JSON value whose texts are wiped when it ends.
class SecretJSON final {
 public:
  explicit SecretJSON(json value) : value_(std::move(value)) {}
  SecretJSON(const SecretJSON&) = delete;
  SecretJSON& operator=(const SecretJSON&) = delete;
  ~SecretJSON() { wipeTexts(value_); }

  const json& value() const { return value_; }

 private:
  static void wipeTexts(json& value) {
    if (auto* text = value.get_ptr<std::string*>()) wipe(*text);
    if (!value.is_structured()) return;
    for (json& element : value) wipeTexts(element);
  }

  json value_;
};

/// Writes JSON by itself: a library's own buffers would keep the passwords.
class SecretWriter final {
 public:
  /// `mostBytes`: so much room that the text never moves and leaves a copy behind.
  explicit SecretWriter(size_t mostBytes) { text_.reserve(mostBytes); }

  void add(std::string_view syntax) { text_ += syntax; }

  void addText(const Password& password) {
    if (!isUtf8(password.text())) throw std::invalid_argument("a password is not UTF-8");
    text_ += '"';
    for (const char c : password.text()) addCharacter(c);
    text_ += '"';
  }

  std::string take() { return std::move(text_); }

 private:
  void addCharacter(char c) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(c);
    if (value < 0x20) {
      text_ += "\\u00";
      text_ += digits[value >> 4];
      text_ += digits[value & 0x0f];
    } else {
      if (c == '"' || c == '\\') text_ += '\\';
      text_ += c;
    }
  }

  std::string text_;
};

/// More than the record takes as text: a character is written as six at most, the rest is short.
size_t mostBytesOf(const StoredSecret& secret) {
  const auto mostBytes = [](const Password& password) { return 6 * password.text().size() + 3; };
  size_t bytes = 100 + mostBytes(secret.password) + (secret.previous ? mostBytes(*secret.previous) : 0);
  for (const Password& earlier : secret.history) bytes += mostBytes(earlier);
  return bytes;
}

Password passwordFrom(const json& value) {
  return Password(strict_json::text(value));  // which wipes what it moves from
}

}  // namespace

StoredSecret StoredSecret::changing(Password newPassword) const {
  if (generation == std::numeric_limits<int64_t>::max()) throw std::overflow_error("no higher password generation");
  StoredSecret changed{std::move(newPassword), generation + 1, password, history};
  std::erase(changed.history, password);
  changed.history.push_back(password);
  return changed;
}

StoredSecret StoredSecret::migrated() const {
  StoredSecret settled = *this;
  settled.previous.reset();
  return settled;
}

std::vector<Password> StoredSecret::openCandidates() const {
  std::vector<Password> candidates = {password};
  const auto add = [&candidates](const Password& candidate) {
    if (std::find(candidates.begin(), candidates.end(), candidate) == candidates.end()) candidates.push_back(candidate);
  };
  if (previous) add(*previous);
  std::for_each(history.rbegin(), history.rend(), add);
  return candidates;
}

std::string StoredSecret::json() const {
  SecretWriter writer(mostBytesOf(*this));
  writer.add("{\"password\":");
  writer.addText(password);
  writer.add(",\"generation\":");
  writer.add(std::to_string(generation));
  if (previous) {
    writer.add(",\"previous\":");
    writer.addText(*previous);
  }
  writer.add(",\"history\":[");
  for (const Password& earlier : history) {
    if (&earlier != &history.front()) writer.add(",");
    writer.addText(earlier);
  }
  writer.add("]}");
  return writer.take();
}

StoredSecret StoredSecret::fromJSON(std::string_view text) {
  const SecretJSON record(strict_json::parse(text));
  const nlohmann::json& object = record.value();
  const int64_t generation = strict_json::integer(strict_json::required(object, "generation"));
  StoredSecret secret{passwordFrom(strict_json::required(object, "password")), generation, std::nullopt, {}};
  if (const auto* previous = strict_json::optional(object, "previous")) secret.previous = passwordFrom(*previous);
  if (const auto* history = strict_json::optional(object, "history")) {
    for (const auto& earlier : strict_json::list(*history)) secret.history.push_back(passwordFrom(earlier));
  }
  return secret;
}

}  // namespace tavrine
