#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// What makes a new password acceptable, how strong it looks, and how a refused change is worded. Characters are those
/// a reader perceives (extended grapheme clusters). Keeps no state and no copy of a password.
class PasswordRules final {
 public:
  PasswordRules() = delete;

  static constexpr size_t minimumLength = 8;  ///< characters

  /// Ordered from weak to strong; the values are what a meter stores.
  enum class Strength { weak = 0, fair = 1, strong = 2 };

  /// The strength of that value; nothing for any but 0, 1 and 2.
  static std::optional<Strength> strengthWithRawValue(int rawValue);

  /// Why `password` is refused; nothing when it is acceptable.
  static std::optional<std::string> problem(std::string_view password);

  static Strength strength(std::string_view password);

  /// What is said when a password change is refused because these items still use an older password; of more than
  /// three, the first three are named.
  static std::string stillMigratingMessage(const std::vector<std::string>& names);
};

}  // namespace tavrine
