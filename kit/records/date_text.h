#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kit/records/locked_item.h"

namespace tavrine {

/// The date as ISO 8601 text in UTC without fractions: "2025-03-01T09:30:00Z".
std::string textFromDate(Date date);

/// The date of such a text; nothing for any other form, or a day or time that does not exist.
std::optional<Date> dateFromText(std::string_view text);

}  // namespace tavrine
