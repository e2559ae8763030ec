#include "app/progress_line.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "app/shown_text.h"
#include "platform/byte_count.h"
#include "platform/text.h"

namespace tavrine {
namespace {

std::string_view words(LockStep step) {
  switch (step) {
    case LockStep::preparing:
      return "Preparing";
    case LockStep::downloading:
      return "Waiting for the download of";
    case LockStep::encrypting:
      return "Encrypting";
    case LockStep::verifying:
      return "Verifying";
    case LockStep::removingOriginal:
      return "Removing the original of";
    case LockStep::restoring:
      return "Restoring";
    case LockStep::finishing:
      return "Finishing";
  }
  return "";
}

std::string bar(double fraction) {
  constexpr int width = 20;
  const int full = static_cast<int>(fraction * width);
  return "[" + std::string(static_cast<size_t>(full), '#') + std::string(static_cast<size_t>(width - full), '-') + "]";
}

/// "0:07", "12:30", "1:02:03".
std::string timeText(double seconds) {
  const auto all = static_cast<int64_t>(std::ceil(seconds));
  const auto twoDigits = [](int64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  const std::string end = ":" + twoDigits(all % 60);
  if (all < 3600) return std::to_string(all / 60) + end;
  return std::to_string(all / 3600) + ":" + twoDigits(all / 60 % 60) + end;
}

enum class Items { shown, leftOut };

std::string measure(const ProgressState& state, Items items) {
  if (state.totalBytes <= 0) return state.doneBytes > 0 ? "  " + byteCountText(state.doneBytes) : "";
  const int64_t done = std::clamp<int64_t>(state.doneBytes, 0, state.totalBytes);
  const double fraction = static_cast<double>(done) / static_cast<double>(state.totalBytes);
  std::string text = "  " + bar(fraction) + "  " + byteCountText(done) + " of " + byteCountText(state.totalBytes);
  if (state.items > 1 && items == Items::shown) text += ", " + std::to_string(state.items) + " items";
  // The first moments say little about the rest.
  if (state.seconds >= 2 && fraction > 0.02)
    text += ", " + timeText(state.seconds * (1 - fraction) / fraction) + " left";
  return text;
}

std::string cut(const std::string& text, size_t columns) {
  const auto all = characters(text);
  if (all.size() <= columns) return text;
  std::string result;
  for (size_t at = 0; at < columns; ++at) result += all[at];
  return result;
}

}  // namespace

std::string progressLine(const ProgressState& state, int columns) {
  const auto room = static_cast<size_t>(std::max(columns, 0));
  const std::string name = shownText(state.name);
  const std::string step = std::string(words(state.step)) + " ";
  std::string end = measure(state, Items::shown);  // of one byte a character, like the step
  if (step.size() + characters(name).size() + end.size() > room) end = measure(state, Items::leftOut);
  const size_t taken = step.size() + end.size();
  return cut(step + cut(name, room > taken ? room - taken : 1) + end, room);
}

}  // namespace tavrine
