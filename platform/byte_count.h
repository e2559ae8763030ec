#pragma once

#include <cstdint>
#include <string>

namespace tavrine {

/// A size for people, in decimal units: "Zero KB", "1 byte", "999 bytes", "2 KB", "1.5 MB", "2.25 GB". Bytes and KB are
/// whole, MB has at most one decimal and larger units at most two; zeros at the end are dropped, a half rounds away
/// from zero, and what rounds to 1000 of a unit is 1 of the next.
std::string byteCountText(int64_t bytes);

}  // namespace tavrine
