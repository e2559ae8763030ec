#pragma once

#include <string_view>

namespace tavrine {

/// Whether the desktop's table of types knows a file-name extension (without the dot, case ignored).
bool isKnownExtension(std::string_view extension);

/// Whether it is that of a document which is a folder on disk and one thing for the user.
bool isPackageType(std::string_view extension);

}  // namespace tavrine
