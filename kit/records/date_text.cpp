#include "kit/records/date_text.h"

#include <array>
#include <cstdio>

namespace tavrine {
namespace {

constexpr std::string_view form = "0000-00-00T00:00:00Z";

bool isOfForm(std::string_view text) {
  if (text.size() != form.size()) return false;
  for (size_t i = 0; i < form.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (form[i] == '0' ? !isDigit : text[i] != form[i]) return false;
  }
  return true;
}

int number(std::string_view text, size_t first, size_t count) {
  int value = 0;
  for (const char digit : text.substr(first, count)) value = 10 * value + (digit - '0');
  return value;
}

}  // namespace

std::string textFromDate(Date date) {
  const auto day = std::chrono::floor<std::chrono::days>(date);
  const std::chrono::year_month_day calendar(day);
  const std::chrono::hh_mm_ss time(date - day);
  std::array<char, 40> text{};
  (void)std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(calendar.year()),
                      static_cast<unsigned>(calendar.month()), static_cast<unsigned>(calendar.day()),
                      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                      static_cast<int>(time.seconds().count()));
  return text.data();
}

std::optional<Date> dateFromText(std::string_view text) {
  using namespace std::chrono;
  if (!isOfForm(text)) return std::nullopt;
  const year_month_day calendar(year(number(text, 0, 4)), month(static_cast<unsigned>(number(text, 5, 2))),
                                day(static_cast<unsigned>(number(text, 8, 2))));
  const int hour = number(text, 11, 2);
  const int minute = number(text, 14, 2);
  const int second = number(text, 17, 2);
  if (!calendar.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return sys_days(calendar) + hours(hour) + minutes(minute) + seconds(second);
}

}  // namespace tavrine
