#include "kit/records/json_codec.h"

#include <array>
#include <ctime>
#include <stdexcept>

#include "kit/records/date_text.h"
#include "platform/file_items.h"
#include "platform/file_manager.h"
#include "platform/path_text.h"
#include "platform/private_folder.h"

namespace tavrine {
namespace {

/// Local time, as file names carry it.
std::string timeStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  (void)::localtime_r(&now, &local);
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", &local)};
}

}  // namespace

void JSONCodec::writePrivately(std::string_view data, const Path& url) {
  const Path folder = url.parent_path();
  if (!createPrivateFolders(folder)) createDirectories(folder);  // which says what is in the way
  replaceFile(url, data);
}

Path JSONCodec::setAside(const Path& url) {
  const std::string name = url.string() + ".damaged-" + timeStamp();
  Path free = name;
  for (int number = 2; isSomethingAt(free); ++number) free = name + "-" + std::to_string(number);
  moveItem(url, free);
  return free;
}

std::optional<std::string> JSONCodec::contentOf(const Path& url) {
  try {
    return readFile(url);
  } catch (const std::filesystem::filesystem_error& error) {
    // Missing is what the system calls so, never what it failed to look at: the next change would write over that.
    const bool isNowhere = error.code() == std::errc::no_such_file_or_directory ||
                           error.code() == std::errc::not_a_directory;  // what is above it is a file
    if (!isNowhere || isSomethingAt(url)) throw;
    return std::nullopt;
  }
}

nlohmann::json JSONCodec::value(Date date) {
  std::string text = textFromDate(date);
  if (dateFromText(text) != date) throw std::out_of_range("a date that records cannot hold");
  return text;
}

nlohmann::json JSONCodec::value(const Path& path) {
  return textFromPath(path.string());
}

Uuid JSONCodec::uuid(const nlohmann::json& value) {
  const auto id = Uuid::parse(strict_json::text(value));
  if (!id) throw UnreadableRecord("an identifier was expected");
  return *id;
}

Date JSONCodec::date(const nlohmann::json& value) {
  const auto date = dateFromText(strict_json::text(value));
  if (!date) throw UnreadableRecord("a date was expected");
  return *date;
}

Path JSONCodec::path(const nlohmann::json& value) {
  std::string path = pathFromText(strict_json::text(value));
  // The system would take the part before it, which is another file.
  if (path.find('\0') != std::string::npos) throw UnreadableRecord("a path was expected");
  return path;
}

const nlohmann::json* JSONCodec::present(const nlohmann::json& object, const char* key) {
  const auto* value = strict_json::optional(object, key);
  return value == nullptr || value->is_null() ? nullptr : value;
}

}  // namespace tavrine
