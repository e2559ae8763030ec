#include "kit/errors/password_rules.h"

#include <algorithm>

#include "kit/errors/tavrine_error.h"
#include "platform/text.h"

namespace tavrine {
namespace {

constexpr const char* advice =
    "Find or unlock them, or choose Forget in the list if they are gone, then try again. Forgetting is safe: Tavrine "
    "keeps your earlier passwords, so a forgotten item still opens if it turns up.";

bool isNeitherLetterNorNumber(std::string_view character) {
  return !isLetter(character) && !isNumber(character);
}

/// How many of the four classes (lowercase, uppercase, number, other) have a member among the characters.
int classesPresent(const std::vector<std::string_view>& all) {
  const auto present = [&all](auto isMember) { return std::any_of(all.begin(), all.end(), isMember) ? 1 : 0; };
  return present(isLowercase) + present(isUppercase) + present(isNumber) + present(isNeitherLetterNorNumber);
}

}  // namespace

std::optional<PasswordRules::Strength> PasswordRules::strengthWithRawValue(int rawValue) {
  if (rawValue < static_cast<int>(Strength::weak) || rawValue > static_cast<int>(Strength::strong)) return std::nullopt;
  return static_cast<Strength>(rawValue);
}

std::optional<std::string> PasswordRules::problem(std::string_view password) {
  if (characters(password).size() >= minimumLength) return std::nullopt;
  return "Use at least 8 characters.";
}

PasswordRules::Strength PasswordRules::strength(std::string_view password) {
  const std::vector<std::string_view> all = characters(password);
  const size_t length = all.size();
  if (length >= 14) return Strength::strong;
  const int classes = classesPresent(all);
  if (length >= 10 && classes >= 3) return Strength::strong;
  if (length >= 8 && classes >= 2) return Strength::fair;
  return Strength::weak;
}

std::string PasswordRules::stillMigratingMessage(const std::vector<std::string>& names) {
  if (names.empty()) return std::string("Tavrine is still moving some items to your current password. ") + advice;
  constexpr size_t mostNamed = 3;
  std::vector<std::string> named(names.begin(),
                                 names.begin() + static_cast<ptrdiff_t>(std::min(names.size(), mostNamed)));
  if (names.size() > mostNamed) named.push_back(std::to_string(names.size() - mostNamed) + " more");
  return "Tavrine is still moving these items to your current password: " + repairedUtf8(TavrineError::list(named)) +
         ". " + advice;
}

}  // namespace tavrine
