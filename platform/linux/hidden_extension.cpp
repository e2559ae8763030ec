#include "platform/hidden_extension.h"

#include <sys/xattr.h>

#include <array>

#include "platform/linux/file_error.h"

namespace tavrine {
namespace {

constexpr const char* attribute = "user.tavrine.hidden-extension";

}  // namespace

std::optional<bool> hasHiddenExtension(const Path& url) {
  std::array<char, 2> value{};
  const ssize_t length = ::lgetxattr(url.c_str(), attribute, value.data(), value.size());
  if (length < 0) return std::nullopt;
  return length == 1 && value.front() == '1';
}

void hideExtension(const Path& url) {
  if (::lsetxattr(url.c_str(), attribute, "1", 1, 0) != 0) failFor("cannot mark", url);
}

}  // namespace tavrine
