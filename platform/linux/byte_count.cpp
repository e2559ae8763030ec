#include "platform/byte_count.h"

#include <array>
#include <string_view>

namespace tavrine {
namespace {

struct Unit {
  std::string_view name;
  uint64_t bytes;
  uint64_t fractions;  ///< how many steps one unit has: 1, 10 or 100
};

constexpr std::array<Unit, 6> units = {{
    {"KB", 1'000, 1},
    {"MB", 1'000'000, 10},
    {"GB", 1'000'000'000, 100},
    {"TB", 1'000'000'000'000, 100},
    {"PB", 1'000'000'000'000'000, 100},
    {"EB", 1'000'000'000'000'000'000, 100},
}};

/// `bytes` in steps of the unit, a half step rounded up.
uint64_t roundedSteps(uint64_t bytes, const Unit& unit) {
  const uint64_t step = unit.bytes / unit.fractions;
  return bytes / step + (bytes % step >= (step + 1) / 2 ? 1 : 0);
}

std::string stepsText(uint64_t steps, uint64_t fractions) {
  std::string text = std::to_string(steps / fractions);
  uint64_t rest = steps % fractions;
  if (rest == 0) return text;
  text += '.';
  for (uint64_t place = fractions / 10; place > 0 && rest > 0; place /= 10) {
    text += static_cast<char>('0' + rest / place);
    rest %= place;
  }
  return text;
}

std::string magnitudeText(uint64_t bytes) {
  if (bytes == 1) return "1 byte";
  if (bytes < 1000) return std::to_string(bytes) + " bytes";
  for (const Unit& unit : units) {
    const uint64_t steps = roundedSteps(bytes, unit);
    if (steps < 1000 * unit.fractions || &unit == &units.back()) {
      return stepsText(steps, unit.fractions) + " " + std::string(unit.name);
    }
  }
  return {};  // not reached: the last unit takes every value
}

}  // namespace

std::string byteCountText(int64_t bytes) {
  if (bytes == 0) return "Zero KB";
  if (bytes > 0) return magnitudeText(static_cast<uint64_t>(bytes));
  return "-" + magnitudeText(~static_cast<uint64_t>(bytes) + 1);
}

}  // namespace tavrine
