#pragma once

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kit/records/locked_item.h"
#include "kit/records/strict_json.h"
#include "platform/paths.h"
#include "platform/uuid.h"

namespace tavrine {

/// What the item index and the journal share: how a list of records stands in a file. Keeps no state.
class JSONCodec final {
 public:
  JSONCodec() = delete;

  /// The text of a list: keys in order, one a line.
  static std::string encoded(const nlohmann::json& list) { return list.dump(2); }

  /// Puts `data` at `url` whole, durable and readable by its owner alone (0600, the folder 0700 when it is made).
  /// Throws the platform's file error; the old file then stays.
  static void writePrivately(std::string_view data, const Path& url);

  /// Gives a damaged file a name of its own beside its place and returns that; it is never deleted, and nothing is
  /// replaced. Throws the platform's file error.
  static Path setAside(const Path& url);

  template <typename Record>
  struct Loaded {
    std::vector<Record> value;
    bool damaged = false;  ///< the file did not decode and was set aside just now
  };

  /// The list in the file; empty where there is none. Throws the platform's file error for a file that cannot be read,
  /// which then stays as it is.
  template <typename Record>
  static Loaded<Record> loadSettingAsideDamage(const Path& url,
                                               const std::function<Record(const nlohmann::json&)>& decoded) {
    auto value = peek<Record>(url, decoded);
    if (value) return {*std::move(value), false};
    (void)setAside(url);
    return {{}, true};
  }

  /// The same without touching the file: nothing for one that does not decode.
  template <typename Record>
  static std::optional<std::vector<Record>> peek(const Path& url,
                                                 const std::function<Record(const nlohmann::json&)>& decoded) {
    const auto text = contentOf(url);
    if (!text) return std::vector<Record>();
    try {
      return records<Record>(*text, decoded);
    } catch (const UnreadableRecord&) {
      return std::nullopt;
    }
  }

  // The values that stand in both files. Writing leaves out what is absent; reading takes a missing key and JSON's
  // `null` for absent, and throws `UnreadableRecord` for what does not fit. A date outside the years 0 to 9999 cannot
  // be written: `std::out_of_range`, before anything is.
  static nlohmann::json value(const Uuid& id) { return id.text(); }
  static nlohmann::json value(Date date);
  static nlohmann::json value(const Path& path);
  static Uuid uuid(const nlohmann::json& value);
  static Date date(const nlohmann::json& value);
  static Path path(const nlohmann::json& value);

  /// The value of a key, or null where it is absent.
  static const nlohmann::json* present(const nlohmann::json& object, const char* key);

  /// What `find` makes of a text that names a case; a name it does not know is a fault.
  template <typename Find>
  static auto namedCase(const nlohmann::json& value, const Find& find) {
    const auto found = find(strict_json::text(value));
    if (!found) throw UnreadableRecord("an unknown name");
    return *found;
  }

 private:
  static std::optional<std::string> contentOf(const Path& url);

  template <typename Record>
  static std::vector<Record> records(const std::string& text,
                                     const std::function<Record(const nlohmann::json&)>& decoded) {
    const nlohmann::json list = strict_json::parse(text);
    std::vector<Record> result;
    result.reserve(list.size());
    for (const auto& element : strict_json::list(list)) result.push_back(decoded(element));
    return result;
  }
};

}  // namespace tavrine
