#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// Whether `bytes` are well-formed UTF-8 throughout.
bool isUtf8(std::string_view bytes);

/// `bytes` as text that can be shown: each longest ill-formed sequence becomes one U+FFFD, the rest stays as it is.
std::string repairedUtf8(std::string_view bytes);

/// The characters that a reader perceives (extended grapheme clusters), in order, as slices of `text`. Leaves no copy
/// of `text` behind. An ill-formed sequence counts as U+FFFD.
std::vector<std::string_view> characters(std::string_view text);

/// The class of one character as `characters` gives it. A character of one scalar is judged by its Unicode properties;
/// one of several is lowercase (uppercase) when it has case and equals its own lowercase (uppercase) form, and its
/// first scalar decides whether it is a number (has a numeric value, not only ASCII digits) or a letter (alphabetic).
bool isLowercase(std::string_view character);
bool isUppercase(std::string_view character);
bool isNumber(std::string_view character);
bool isLetter(std::string_view character);

/// `text` in lower case, whatever the language. What is ill-formed becomes U+FFFD.
std::string lowercased(std::string_view text);

}  // namespace tavrine
