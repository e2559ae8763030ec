#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// The form in which a path stands where only Unicode text may: in a JSON record or a property list. A path holds any
/// bytes. One that is UTF-8 is its own text; each byte of another that belongs to no well-formed sequence becomes the
/// private-use character U+100000 + byte. A real character of that range (U+100080 to U+1000FF) is written byte by byte
/// the same way, so no two paths share a text.
std::string textFromPath(std::string_view path);

/// The path whose text this is: the reverse of `textFromPath`.
std::string pathFromText(std::string_view text);

}  // namespace tavrine
