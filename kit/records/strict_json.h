#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// A stored record does not fit its format. Its text names the fault, never the content, which may be secret.
class UnreadableRecord final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reading of JSON that takes nothing for granted: every fault is an `UnreadableRecord`, nothing is converted or
/// guessed. Unknown keys are left alone.
namespace strict_json {

/// The deepest nesting accepted; our own records have three levels.
inline constexpr int mostLevels = 32;

/// The one JSON value that `text` holds. Text behind it, a key given twice in one object, nesting beyond `mostLevels`
/// and anything that is no UTF-8 are faults.
nlohmann::json parse(std::string_view text);

/// The value of a key that must be there.
const nlohmann::json& required(const nlohmann::json& object, const char* key);

/// The value of a key, or null where the object lacks it. A key whose value is JSON's `null` is there.
const nlohmann::json* optional(const nlohmann::json& object, const char* key);

std::string text(const nlohmann::json& value);

/// A whole number written as one, within 64 bits.
int64_t integer(const nlohmann::json& value);

/// A whole number from 0 on, written as one, within 64 bits.
uint64_t unsignedInteger(const nlohmann::json& value);

/// The value itself, once it is known to be an array.
const nlohmann::json& list(const nlohmann::json& value);

std::vector<std::string> texts(const nlohmann::json& value);

}  // namespace strict_json
}  // namespace tavrine
