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
  json& value() { return value_; }

 private:
  static void wipeTexts(json& value) {
    if (auto* text = value.get_ptr<std::string*>()) wipe(*text);
    if (!value.is_structured()) return;
    for (json& element : value) wipeTexts(element);
  }

  json value_;
};

Password passwordFrom(const json& value) {
  return Password(strict_json::text(value));
}

const std::string& encodable(const Password& password) {
  if (!isUtf8(password.text())) throw std::invalid_argument("a password is not UTF-8");
  return password.text();
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
  SecretJSON record(nlohmann::json::object());
  record.value()["password"] = encodable(password);
  record.value()["generation"] = generation;
  if (previous) record.value()["previous"] = encodable(*previous);
  record.value()["history"] = nlohmann::json::array();
  for (const Password& earlier : history) record.value()["history"].push_back(encodable(earlier));
  return record.value().dump();
}

StoredSecret StoredSecret::fromJSON(std::string_view text) {
  const SecretJSON record(strict_json::parse(text));
  StoredSecret secret{passwordFrom(strict_json::required(record.value(), "password")),
                      strict_json::integer(strict_json::required(record.value(), "generation")),
                      std::nullopt,
                      {}};
  if (const auto* previous = strict_json::optional(record.value(), "previous"))
    secret.previous = passwordFrom(*previous);
  if (const auto* history = strict_json::optional(record.value(), "history")) {
    for (std::string& earlier : strict_json::texts(*history)) secret.history.emplace_back(std::move(earlier));
  }
  return secret;
}

}  // namespace tavrine
