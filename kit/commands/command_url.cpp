#include "kit/commands/command_url.h"

#include <algorithm>

namespace tavrine {
namespace {

// The ASCII classes, without a locale's say.
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isHexDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
bool isUnreserved(char c) {
  return isAlpha(c) || isDigit(c) || std::string_view("-._~").find(c) != std::string_view::npos;
}
bool isSubDelimiter(char c) {
  return std::string_view("!$&'()*+,;=").find(c) != std::string_view::npos;
}

/// Whether `text` is made of unreserved characters, sub-delimiters, percent sequences and the characters of `more`.
bool isMadeOf(std::string_view text, std::string_view more) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) return false;
      i += 2;
    } else if (!isUnreserved(text[i]) && !isSubDelimiter(text[i]) && more.find(text[i]) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

bool isScheme(std::string_view text) {
  return !text.empty() && isAlpha(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
    return isAlpha(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

/// The text up to `separator`, which `text` loses with the separator; all of it where there is no separator.
std::string_view takeUntil(std::string_view& text, char separator) {
  const size_t end = text.find(separator);
  const std::string_view head = text.substr(0, end);
  text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  return head;
}

/// The host of "user@host:port"; nothing where the authority is malformed.
std::optional<std::string_view> hostOf(std::string_view authority) {
  if (const size_t at = authority.find('@'); at != std::string_view::npos) {
    if (!isMadeOf(authority.substr(0, at), ":")) return std::nullopt;
    authority.remove_prefix(at + 1);
  }
  const std::string_view host = takeUntil(authority, ':');
  const std::string_view port = authority;
  if (!isMadeOf(host, "") || !std::all_of(port.begin(), port.end(), isDigit)) return std::nullopt;
  return host;
}

std::vector<URLComponents::QueryItem> itemsOf(std::string_view query) {
  std::vector<URLComponents::QueryItem> items;
  while (!query.empty()) {
    std::string_view item = takeUntil(query, '&');
    if (item.empty()) continue;
    const bool hasValue = item.find('=') != std::string_view::npos;
    const std::string_view name = takeUntil(item, '=');
    items.push_back({name, hasValue ? std::optional(item) : std::nullopt});
  }
  return items;
}

char hexValue(char digit) {
  if (isDigit(digit)) return static_cast<char>(digit - '0');
  return static_cast<char>((digit | 0x20) - 'a' + 10);
}

}  // namespace

std::optional<URLComponents> URLComponents::split(std::string_view url) {
  const size_t colon = url.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  URLComponents components;
  components.scheme = url.substr(0, colon);
  std::string_view rest = url.substr(colon + 1);
  const size_t fragmentStart = rest.find('#');
  const std::string_view fragment = fragmentStart == std::string_view::npos ? "" : rest.substr(fragmentStart + 1);
  rest = rest.substr(0, fragmentStart);
  std::string_view path = takeUntil(rest, '?');
  const std::string_view query = rest;
  if (path.starts_with("//")) {
    path.remove_prefix(2);
    const std::string_view authority = path.substr(0, path.find('/'));
    path.remove_prefix(authority.size());
    components.host = hostOf(authority);
    if (!components.host) return std::nullopt;
  }
  if (!isScheme(components.scheme) || !isMadeOf(path, ":@/") || !isMadeOf(query, ":@/?") ||
      !isMadeOf(fragment, ":@/?")) {
    return std::nullopt;
  }
  components.queryItems = itemsOf(query);
  return components;
}

std::string percentEncoded(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view punctuation = "!$'()*,;:@";
  std::string text;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    if (isUnreserved(c) || punctuation.find(c) != std::string_view::npos) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += '%';
      text += digits[byte >> 4];
      text += digits[byte & 0x0f];
    }
  }
  return text;
}

std::string percentDecoded(std::string_view escaped) {
  std::string bytes;
  bytes.reserve(escaped.size());
  for (size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] == '%' && i + 2 < escaped.size()) {
      bytes += static_cast<char>(hexValue(escaped[i + 1]) << 4 | hexValue(escaped[i + 2]));
      i += 2;
    } else {
      bytes += escaped[i];
    }
  }
  return bytes;
}

}  // namespace tavrine
