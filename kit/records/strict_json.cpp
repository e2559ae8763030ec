#include "kit/records/strict_json.h"

#include <limits>
#include <set>

namespace tavrine::strict_json {
namespace {

using nlohmann::json;

[[noreturn]] void refuse(const std::string& why) {
  throw UnreadableRecord(why);
}

/// Looks at each value while it is read, so that an attack by size or depth ends before it is built.
class Guard final {
 public:
  bool operator()(int depth, json::parse_event_t event, const json& parsed) {
    using Event = json::parse_event_t;
    // The depth told at a start is that of what is around it.
    if ((event == Event::object_start || event == Event::array_start) && depth >= mostLevels)
      refuse("nested too deeply");
    if (event == Event::object_start) {
      keys_.emplace_back();
    } else if (event == Event::object_end) {
      keys_.pop_back();
    } else if (event == Event::key && !keys_.back().insert(parsed.get_ref<const std::string&>()).second) {
      refuse("a key is given twice");
    }
    return true;
  }

 private:
  std::vector<std::set<std::string>> keys_;  ///< of the objects being read, outermost first
};

}  // namespace

json parse(std::string_view text) {
  Guard guard;
  try {
    return json::parse(text.begin(), text.end(), [&guard](int depth, json::parse_event_t event, json& parsed) {
      return guard(depth, event, parsed);
    });
  } catch (const json::exception&) {
    refuse("not JSON");  // the library's own text quotes what it read
  }
}

const json* optional(const json& object, const char* key) {
  if (!object.is_object()) refuse("not an object");
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

const json& required(const json& object, const char* key) {
  const json* value = optional(object, key);
  if (value == nullptr) refuse(std::string("the key \"") + key + "\" is missing");
  return *value;
}

std::string text(const json& value) {
  if (!value.is_string()) refuse("a text was expected");
  return value.get<std::string>();
}

int64_t integer(const json& value) {
  if (value.is_number_unsigned() &&
      value.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    refuse("a number is out of range");
  }
  if (!value.is_number_integer()) refuse("a whole number was expected");
  return value.get<int64_t>();
}

uint64_t unsignedInteger(const json& value) {
  if (!value.is_number_unsigned()) refuse("a whole number from 0 on was expected");
  return value.get<uint64_t>();
}

const json& list(const json& value) {
  if (!value.is_array()) refuse("a list was expected");
  return value;
}

std::vector<std::string> texts(const json& value) {
  std::vector<std::string> result;
  result.reserve(value.size());
  for (const json& element : list(value)) result.push_back(text(element));
  return result;
}

}  // namespace tavrine::strict_json
