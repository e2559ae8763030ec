#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// One JSON object on one line, its keys in the order they were added. docs/json-output.md says which objects there
/// are.
class JsonLine final {
 public:
  /// `event` says what the object tells.
  explicit JsonLine(std::string_view event) { add("event", event); }

  /// A text; what is no UTF-8 in it becomes U+FFFD.
  JsonLine& add(std::string_view key, std::string_view text);
  JsonLine& add(std::string_view key, const char* text) { return add(key, std::string_view(text)); }
  JsonLine& add(std::string_view key, int64_t number);
  JsonLine& add(std::string_view key, bool flag);

  /// A path or a name, of any bytes, in the form of `textFromPath`.
  JsonLine& addPath(std::string_view key, const Path& path);
  JsonLine& addNames(std::string_view key, const std::vector<std::string>& names);

  /// The object, without a line break.
  std::string text() const { return "{" + members_ + "}"; }

 private:
  JsonLine& addRaw(std::string_view key, std::string_view value);

  std::string members_;
};

}  // namespace tavrine
