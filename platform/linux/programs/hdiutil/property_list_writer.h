#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrine {

/// The pieces of a property list in XML. What they are given as text is written so that the document is well-formed:
/// bytes that are not UTF-8 become U+FFFD.
std::string plistText(std::string_view text);
std::string plistList(const std::vector<std::string>& values);
std::string plistDictionary(std::initializer_list<std::pair<std::string_view, std::string>> members);

/// The whole document with `value` in it.
std::string plistDocument(const std::string& value);

}  // namespace tavrine
