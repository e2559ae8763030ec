#include "platform/text.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace tavrine {
namespace {

constexpr const char* breakTestFile = "/usr/share/unicode/auxiliary/GraphemeBreakTest.txt";

std::string utf8(char32_t scalar) {
  return std::filesystem::path(std::u32string(1, scalar)).string();
}

/// One line of the official test, "÷ 0020 × 0308 ÷ 0020 ÷": the characters it asks for.
std::vector<std::string> expectedCharacters(const std::string& line) {
  std::vector<std::string> expected;
  std::istringstream words(line.substr(0, line.find('#')));
  bool startsNew = true;
  for (std::string word; words >> word;) {
    if (word == "÷" || word == "×") {
      startsNew = word == "÷";
      continue;
    }
    if (startsNew) expected.emplace_back();
    expected.back() += utf8(static_cast<char32_t>(std::stoul(word, nullptr, 16)));
  }
  return expected;
}

TEST(Text, CharactersAreThoseOfTheOfficialBreakTest) {
  std::ifstream file(breakTestFile);
  if (!file) GTEST_SKIP() << breakTestFile << " is not here (package unicode-data)";
  int lines = 0;
  for (std::string line; std::getline(file, line);) {
    const std::vector<std::string> expected = expectedCharacters(line);
    if (expected.empty()) continue;
    std::string text;
    for (const std::string& character : expected) text += character;
    const auto found = characters(text);
    EXPECT_EQ(std::vector<std::string>(found.begin(), found.end()), expected) << line;
    ++lines;
  }
  EXPECT_GT(lines, 500);
}

TEST(Text, ClassesOfCharacters) {
  struct Row {
    const char* character;
    bool lower, upper, number, letter;
  };
  const Row rows[] = {{"a", true, false, false, true},
                      {"Z", false, true, false, true},
                      {"7", false, false, true, false},
                      {"٣", false, false, true, false},
                      {"½", false, false, true, false},
                      {"Ⅷ", false, true, true, true},
                      {"一", false, false, true, true},
                      {"ß", true, false, false, true},
                      {"ǅ", false, false, false, true},
                      {"ש", false, false, false, true},
                      {"é", true, false, false, true},
                      {"É", false, true, false, true},
                      {" ", false, false, false, false},
                      {"😀", false, false, false, false},
                      {"👩‍👩‍👧", false, false, false, false},
                      {"\xFF", false, false, false, false}};
  for (const Row& row : rows) {
    EXPECT_EQ(isLowercase(row.character), row.lower) << row.character;
    EXPECT_EQ(isUppercase(row.character), row.upper) << row.character;
    EXPECT_EQ(isNumber(row.character), row.number) << row.character;
    EXPECT_EQ(isLetter(row.character), row.letter) << row.character;
  }
}

TEST(Text, RepairsEachLongestIllFormedSequenceOnce) {
  const std::pair<std::string, std::string> rows[] = {
      {"Grüße", "Grüße"},
      {"a\xFFz", "a\uFFFDz"},
      {"\xE2\x82", "\uFFFD"},  // cut in the middle of a character
      {"\xF0\x9F\x98z", "\uFFFDz"},
      {"\xC0\xAF", "\uFFFD\uFFFD"},            // overlong
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},  // half of a surrogate pair
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {std::string("a\0b", 3), std::string("a\0b", 3)},
  };
  for (const auto& [bytes, text] : rows) {
    EXPECT_EQ(repairedUtf8(bytes), text);
    EXPECT_EQ(isUtf8(bytes), bytes == text);
  }
}

}  // namespace
}  // namespace tavrine
