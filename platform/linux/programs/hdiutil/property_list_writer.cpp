#include "platform/linux/programs/hdiutil/property_list_writer.h"

#include "platform/text.h"

namespace tavrine {

std::string plistText(std::string_view text) {
  std::string result = "<string>";
  for (const char character : repairedUtf8(text)) {
    switch (character) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '\r':
        result += "&#13;";
        break;  // a bare one reads as a line feed
      default:
        result += character;
    }
  }
  return result + "</string>\n";
}

std::string plistList(const std::vector<std::string>& values) {
  std::string result = "<array>\n";
  for (const std::string& value : values) result += value;
  return result + "</array>\n";
}

std::string plistDictionary(std::initializer_list<std::pair<std::string_view, std::string>> members) {
  std::string result = "<dict>\n";
  for (const auto& [key, value] : members) {
    result.append("<key>").append(key).append("</key>\n").append(value);
  }
  return result + "</dict>\n";
}

std::string plistDocument(const std::string& value) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<plist version=\"1.0\">\n" +
         value + "</plist>\n";
}

}  // namespace tavrine
