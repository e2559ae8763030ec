#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/file_identity.h"

namespace tavrine {

/// What a bookmark's bytes hold.
struct BookmarkData {
  FileIdentity identity;
  std::string path;    ///< where the item was; absolute
  std::string handle;  ///< the kernel's handle of the file, opaque; empty where there was none

  std::string bytes() const;

  /// Nothing for bytes of any other form.
  static std::optional<BookmarkData> parse(std::string_view bytes);
};

}  // namespace tavrine
