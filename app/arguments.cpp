#include "app/arguments.h"

#include <algorithm>
#include <string_view>

namespace tavrine {

Arguments Arguments::split(int argc, const char* const* argv) {
  const char* const* const begin = argv + std::min(argc, 1);
  const char* const* const end = argv + argc;
  const auto mark = std::find(begin, end, std::string_view("--"));
  return {{begin, mark}, {mark == end ? end : mark + 1, end}};
}

}  // namespace tavrine
