#include "platform/text.h"

#include <unicode/casemap.h>
#include <unicode/stringpiece.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <memory>
#include <stdexcept>

namespace tavrine {
namespace {

void require(UErrorCode status, const char* what) {
  if (U_FAILURE(status)) throw std::runtime_error(std::string(what) + ": " + u_errorName(status));
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // inside the macro
/// The scalar at `offset`, which moves behind it; negative for the longest ill-formed sequence there.
UChar32 nextScalar(std::string_view text, size_t& offset) {
  UChar32 scalar = 0;
  U8_NEXT(text.data(), offset, text.size(), scalar);
  return scalar;
}
#pragma GCC diagnostic pop

/// The first scalar of a character, U+FFFD where it is ill-formed, and whether it is the only one.
struct FirstScalar {
  UChar32 value = 0xfffd;
  bool isOnly = false;
};

FirstScalar firstScalar(std::string_view character) {
  if (character.empty()) return {};
  size_t offset = 0;
  const UChar32 scalar = nextScalar(character, offset);
  return {scalar < 0 ? 0xfffd : scalar, offset == character.size()};
}

enum class Case { lower, upper };

std::string mapped(std::string_view character, Case to) {
  std::string result;
  icu::StringByteSink<std::string> sink(&result);
  UErrorCode status = U_ZERO_ERROR;
  const icu::StringPiece text(character.data(), static_cast<int32_t>(character.size()));
  if (to == Case::lower) {
    icu::CaseMap::utf8ToLower("", 0, text, sink, nullptr, status);
  } else {
    icu::CaseMap::utf8ToUpper("", 0, text, sink, nullptr, status);
  }
  require(status, "case mapping");
  return result;
}

bool hasCase(std::string_view character, Case wanted) {
  const FirstScalar first = firstScalar(character);
  if (first.isOnly) return u_hasBinaryProperty(first.value, wanted == Case::lower ? UCHAR_LOWERCASE : UCHAR_UPPERCASE);
  const bool isOwnLower = mapped(character, Case::lower) == character;
  const bool isOwnUpper = mapped(character, Case::upper) == character;
  const bool isCased = !isOwnLower || !isOwnUpper;
  return isCased && (wanted == Case::lower ? isOwnLower : isOwnUpper);
}

}  // namespace

bool isUtf8(std::string_view bytes) {
  size_t offset = 0;
  while (offset < bytes.size()) {
    if (nextScalar(bytes, offset) < 0) return false;
  }
  return true;
}

std::string repairedUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  size_t offset = 0;
  while (offset < bytes.size()) {
    const size_t start = offset;
    if (nextScalar(bytes, offset) < 0) {
      text += "\xEF\xBF\xBD";
    } else {
      text += bytes.substr(start, offset - start);
    }
  }
  return text;
}

std::vector<std::string_view> characters(std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UText, decltype(&utext_close)> source(
      utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status), &utext_close);
  const std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> breaks(
      ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status), &ubrk_close);
  ubrk_setUText(breaks.get(), source.get(), &status);
  require(status, "character boundaries");
  std::vector<std::string_view> result;
  int32_t start = ubrk_first(breaks.get());
  for (int32_t end = ubrk_next(breaks.get()); end != UBRK_DONE; end = ubrk_next(breaks.get())) {
    result.push_back(text.substr(static_cast<size_t>(start), static_cast<size_t>(end - start)));
    start = end;
  }
  return result;
}

bool isLowercase(std::string_view character) {
  return hasCase(character, Case::lower);
}

bool isUppercase(std::string_view character) {
  return hasCase(character, Case::upper);
}

bool isNumber(std::string_view character) {
  return u_getIntPropertyValue(firstScalar(character).value, UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

bool isLetter(std::string_view character) {
  return u_hasBinaryProperty(firstScalar(character).value, UCHAR_ALPHABETIC);
}

}  // namespace tavrine
