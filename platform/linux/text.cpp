#include "platform/text.h"

#include <unicode/casemap.h>
#include <unicode/stringpiece.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <memory>
#include <stdexcept>

#include "platform/system.h"

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

/// A text in the form that the boundary rules read, and where each unit comes from. Wiped when it ends: the text may be
/// a password.
class UTF16Copy final {
 public:
  explicit UTF16Copy(std::string_view text) {
    // At most one unit a byte: nothing is left behind by growing.
    units_.reserve(text.size());
    offsets_.reserve(text.size() + 1);
    size_t offset = 0;
    while (offset < text.size()) {
      const size_t start = offset;
      const UChar32 scalar = nextScalar(text, offset);
      append(scalar < 0 ? 0xfffd : scalar, start);
    }
    offsets_.push_back(text.size());
  }
  UTF16Copy(const UTF16Copy&) = delete;
  UTF16Copy& operator=(const UTF16Copy&) = delete;
  ~UTF16Copy() { wipeMemory(units_.data(), units_.size() * sizeof(UChar)); }

  const UChar* units() const { return units_.data(); }
  int32_t length() const { return static_cast<int32_t>(units_.size()); }

  /// Where the unit begins in the text, in bytes; the text's size for the place behind the last unit.
  size_t offset(int32_t unit) const { return offsets_.at(static_cast<size_t>(unit)); }

 private:
  void append(UChar32 scalar, size_t start) {
    if (U16_LENGTH(scalar) == 2) {
      units_.push_back(U16_LEAD(scalar));
      offsets_.push_back(start);
    }
    units_.push_back(U16_LENGTH(scalar) == 2 ? U16_TRAIL(scalar) : static_cast<UChar>(scalar));
    offsets_.push_back(start);
  }

  std::vector<UChar> units_;
  std::vector<size_t> offsets_;
};

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
  const UTF16Copy copy(text);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> breaks(
      ubrk_open(UBRK_CHARACTER, "", copy.units(), copy.length(), &status), &ubrk_close);
  require(status, "character boundaries");
  std::vector<std::string_view> result;
  size_t start = 0;
  for (int32_t next = ubrk_next(breaks.get()); next != UBRK_DONE; next = ubrk_next(breaks.get())) {
    const size_t end = copy.offset(next);
    result.push_back(text.substr(start, end - start));
    start = end;
  }
  return result;
}

std::string lowercased(std::string_view text) {
  return mapped(text, Case::lower);
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
