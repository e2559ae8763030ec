#include "app/json_line.h"

#include "platform/path_text.h"
#include "platform/text.h"

namespace tavrine {
namespace {

std::string jsonText(std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += {'\\', c};
    } else if (byte < 0x20) {
      result += "\\u00";
      result += {digits[byte >> 4], digits[byte & 0xf]};
    } else {
      result += c;
    }
  }
  return result + '"';
}

}  // namespace

JsonLine& JsonLine::add(std::string_view key, std::string_view text) {
  return addRaw(key, jsonText(repairedUtf8(text)));
}

JsonLine& JsonLine::add(std::string_view key, int64_t number) {
  return addRaw(key, std::to_string(number));
}

JsonLine& JsonLine::add(std::string_view key, bool flag) {
  return addRaw(key, flag ? "true" : "false");
}

JsonLine& JsonLine::addPath(std::string_view key, const Path& path) {
  return addRaw(key, jsonText(textFromPath(path.string())));
}

JsonLine& JsonLine::addNames(std::string_view key, const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ",") + jsonText(textFromPath(name));
  return addRaw(key, "[" + list + "]");
}

JsonLine& JsonLine::addRaw(std::string_view key, std::string_view value) {
  if (!members_.empty()) members_ += ',';
  members_ += jsonText(key);
  members_ += ':';
  members_ += value;
  return *this;
}

}  // namespace tavrine
