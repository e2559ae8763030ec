#include "app/console.h"

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "app/shown_text.h"
#include "platform/terminal.h"

namespace tavrine {
namespace {

bool isDumb() {
  const char* kind = std::getenv("TERM");  // NOLINT(concurrency-mt-unsafe): the program sets no variables
  return kind == nullptr || *kind == '\0' || std::string_view(kind) == "dumb";
}

bool isColorRefused() {
  const char* refusal = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): as above
  return refusal != nullptr && *refusal != '\0';
}

}  // namespace

Console::Console(const Request& request)
    : json_(request.json),
      quiet_(request.quiet),
      outIsTerminal_(isTerminal(StandardStream::output)),
      errorIsTerminal_(isTerminal(StandardStream::error)),
      usesColor_(errorIsTerminal_ && !request.noColor && !isDumb() && !isColorRefused()),
      showsProgress_(errorIsTerminal_ && !isDumb() && !request.quiet && !request.json) {}

void Console::result(const std::string& text, const JsonLine& json) {
  if (json_ || !quiet_) answer(text, json);
}

void Console::answer(const std::string& text, const JsonLine& json) {
  writeOut(json_ ? json.text() : shown(text));
}

void Console::warning(const std::string& text) {
  if (json_) return writeOut(JsonLine("warning").add("message", text).text());
  writeError(Mark::plain, text);
}

void Console::notice(const std::string& title, const std::string& body) {
  if (json_) return writeOut(JsonLine("notice").add("title", title).add("message", body).text());
  writeError(Mark::plain, title);
  writeError(Mark::plain, body);
}

void Console::failure(const std::optional<Path>& item, const Failure& failure) {
  if (json_) {
    JsonLine line("failed");
    if (item) line.addPath("path", *item);
    line.add("error", failure.name).add("code", static_cast<int64_t>(failure.code));
    if (failure.title) line.add("title", *failure.title);
    return writeOut(line.add("message", failure.message).text());
  }
  const std::string place = item ? item->string() + ": " : "";
  writeError(Mark::failure, place + failure.title.value_or(failure.message));
  if (failure.title) writeError(Mark::failure, failure.message);
  for (const std::string& detail : failure.details) writeError(Mark::plain, "  " + detail);
}

void Console::remark(const std::string& text) {
  writeError(Mark::plain, text);
}

void Console::progress(const std::string& line) {
  if (!showsProgress_) return;
  const std::lock_guard guard(lock_);
  clearProgress();
  std::cerr << shownText(line) << std::flush;
  hasProgress_ = !line.empty();
}

std::string Console::shown(const std::string& text) const {
  return outIsTerminal_ ? shownText(text) : text;
}

bool Console::isWritten() const {
  const std::lock_guard guard(lock_);
  return std::cout.good();
}

void Console::writeOut(const std::string& line) {
  const std::lock_guard guard(lock_);
  clearProgress();
  std::cout << line << '\n' << std::flush;
}

void Console::writeError(Mark mark, const std::string& text) {
  const std::lock_guard guard(lock_);
  clearProgress();
  const bool isRed = mark == Mark::failure && usesColor_;
  std::cerr << (isRed ? "\033[31mtavrine:\033[0m " : "tavrine: ") << (errorIsTerminal_ ? shownText(text) : text)
            << std::endl;
  std::cerr.clear();  // a stream that is gone now may be there again, and stops nothing either way
}

void Console::clearProgress() {
  if (!hasProgress_) return;
  std::cerr << "\r\033[K" << std::flush;
  hasProgress_ = false;
}

}  // namespace tavrine
