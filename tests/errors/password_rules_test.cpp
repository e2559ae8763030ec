#include "kit/errors/password_rules.h"

#include <gtest/gtest.h>

namespace tavrine {
namespace {

constexpr const char* advice =
    "Find or unlock them, or choose Forget in the list if they are gone, then try again. Forgetting is safe: Tavrine "
    "keeps your earlier passwords, so a forgotten item still opens if it turns up.";

std::string repeated(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

TEST(PasswordRules, CountsCharactersAsReadersDo) {
  const std::string family = "👩‍👩‍👧‍👦";  // seven scalars, one character
  EXPECT_EQ(PasswordRules::problem("1234567"), "Use at least 8 characters.");
  EXPECT_EQ(PasswordRules::problem(""), "Use at least 8 characters.");
  EXPECT_EQ(PasswordRules::problem(repeated(family, 7)), "Use at least 8 characters.");
  EXPECT_EQ(PasswordRules::problem(repeated("e\u0301", 7)), "Use at least 8 characters.");
  EXPECT_EQ(PasswordRules::problem(repeated(family, 8)), std::nullopt);
  EXPECT_EQ(PasswordRules::problem("        "), std::nullopt);
}

TEST(PasswordRules, RatesStrengthByLengthAndClasses) {
  using enum PasswordRules::Strength;
  const std::pair<std::string, PasswordRules::Strength> rows[] = {
      {"", weak},
      {"password", weak},
      {"passw0r", weak},           // 7 characters
      {"passw0rd", fair},          // lower, digit
      {"一一一一一一一一", weak},  // letters that are numbers: one class
      {"パスワードパス7", weak},   // letters without case are no class
      {"パスワードパス7!", fair},
      {"passw0rd12", fair},    // 10 characters, two classes
      {"Passw0rd12", strong},  // three
      {"Passw0rd!", fair},     // four classes, 9 characters
      {"pass word!", fair},    // a space is of the same class as "!"
      {repeated("a", 13), weak},
      {repeated("a", 14), strong},
      {repeated("👩‍👩‍👧‍👦", 13), weak},
      {repeated("e\u0301", 9) + "É", fair},
  };
  for (const auto& [password, strength] : rows) EXPECT_EQ(PasswordRules::strength(password), strength) << password;
  EXPECT_LT(weak, fair);
  EXPECT_GE(strong, fair);
  EXPECT_EQ(PasswordRules::strengthWithRawValue(2), strong);
  EXPECT_EQ(PasswordRules::strengthWithRawValue(3), std::nullopt);
  EXPECT_EQ(PasswordRules::strengthWithRawValue(-1), std::nullopt);
}

TEST(PasswordRules, NamesTheItemsThatAreBehind) {
  const std::string these = "Tavrine is still moving these items to your current password: ";
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{}, "Tavrine is still moving some items to your current password. "},
      {{"\xFF"}, these + "\uFFFD. "},
      {{"A", "B", "C"}, these + "A, B and C. "},
      {{"A", "B", "C", "D", "E"}, these + "A, B, C and 2 more. "},
  };
  for (const auto& [names, message] : rows) EXPECT_EQ(PasswordRules::stillMigratingMessage(names), message + advice);
}

}  // namespace
}  // namespace tavrine
