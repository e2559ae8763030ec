#include "platform/linux/bookmark_data.h"

#include <array>
#include <charconv>
#include <vector>

namespace tavrine {
namespace {

// Fields parted by NUL, which no path holds; the handle, any bytes, comes last. Numbers are decimal.
constexpr std::string_view form = "tavrine-bookmark-1";
constexpr size_t fieldsBeforeHandle = 5;

template <typename Number>
bool readNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

std::string BookmarkData::bytes() const {
  std::string result(form);
  for (const std::string& field : {std::to_string(identity.inode), std::to_string(identity.birthSeconds),
                                   std::to_string(identity.birthNanoseconds), path}) {
    result.push_back('\0');
    result += field;
  }
  result.push_back('\0');
  return result + handle;
}

std::optional<BookmarkData> BookmarkData::parse(std::string_view bytes) {
  std::array<std::string_view, fieldsBeforeHandle> fields;
  for (std::string_view& field : fields) {
    const size_t end = bytes.find('\0');
    if (end == std::string_view::npos) return std::nullopt;
    field = bytes.substr(0, end);
    bytes.remove_prefix(end + 1);
  }
  BookmarkData data{{}, std::string(fields[4]), std::string(bytes)};
  if (fields[0] != form || !fields[4].starts_with('/') || !readNumber(fields[1], data.identity.inode) ||
      !readNumber(fields[2], data.identity.birthSeconds) || !readNumber(fields[3], data.identity.birthNanoseconds)) {
    return std::nullopt;
  }
  return data;
}

}  // namespace tavrine
