#include "platform/property_list.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace tavrine {
namespace {

std::string textOf(plist_t node) {
  uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return text == nullptr ? std::string() : std::string(text, length);
}

PropertyList valueOf(plist_t node);

PropertyList::List listOf(plist_t node) {
  PropertyList::List list;
  const uint32_t count = plist_array_get_size(node);
  for (uint32_t index = 0; index < count; ++index) list.push_back(valueOf(plist_array_get_item(node, index)));
  return list;
}

PropertyList::Dictionary dictionaryOf(plist_t node) {
  PropertyList::Dictionary dictionary;
  plist_dict_iter start = nullptr;
  plist_dict_new_iter(node, &start);
  const std::unique_ptr<void, decltype(&std::free)> position(start, &std::free);
  for (;;) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(node, position.get(), &key, &value);
    const std::unique_ptr<char, decltype(&std::free)> owned(key, &std::free);
    if (value == nullptr) return dictionary;
    dictionary.emplace(key, valueOf(value));
  }
}

PropertyList valueOf(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_STRING:
      return PropertyList(textOf(node));
    case PLIST_ARRAY:
      return PropertyList(listOf(node));
    case PLIST_DICT:
      return PropertyList(dictionaryOf(node));
    default:
      return {};
  }
}

}  // namespace

std::optional<PropertyList> PropertyList::parse(std::string_view xml) {
  if (xml.size() > std::numeric_limits<uint32_t>::max()) return std::nullopt;
  plist_t root = nullptr;
  plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &root);
  const std::unique_ptr<void, decltype(&plist_free)> owned(root, &plist_free);
  if (root == nullptr) return std::nullopt;
  return valueOf(root);
}

const PropertyList* PropertyList::member(std::string_view key) const {
  const Dictionary* members = dictionary();
  if (members == nullptr) return nullptr;
  const auto found = members->find(key);
  return found == members->end() ? nullptr : &found->second;
}

}  // namespace tavrine
