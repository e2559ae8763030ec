#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tavrine {

/// A value of a property list, as far as the system reads them: a text, a list, a dictionary, or anything else.
class PropertyList final {
 public:
  using List = std::vector<PropertyList>;
  using Dictionary = std::map<std::string, PropertyList, std::less<>>;

  /// The value written in `xml`; nothing where that is no property list.
  static std::optional<PropertyList> parse(std::string_view xml);

  PropertyList() = default;
  explicit PropertyList(std::string text) : value_(std::move(text)) {}
  explicit PropertyList(List list) : value_(std::move(list)) {}
  explicit PropertyList(Dictionary dictionary) : value_(std::move(dictionary)) {}

  /// The value when it is of that type, else null.
  const std::string* text() const { return std::get_if<std::string>(&value_); }
  const List* list() const { return std::get_if<List>(&value_); }
  const Dictionary* dictionary() const { return std::get_if<Dictionary>(&value_); }

  /// The value of `key`; null in anything but a dictionary that has it.
  const PropertyList* member(std::string_view key) const;

 private:
  std::variant<std::monostate, std::string, List, Dictionary> value_;
};

}  // namespace tavrine
