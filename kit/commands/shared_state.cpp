#include "kit/commands/shared_state.h"

#include <filesystem>

#include "kit/records/strict_json.h"
#include "platform/file_manager.h"
#include "platform/path_text.h"
#include "platform/system.h"

namespace tavrine {
namespace {

constexpr const char* pathsKey = "unlockedPaths";
constexpr const char* bootTimeKey = "bootTime";

SharedState decoded(std::string_view text) {
  const nlohmann::json record = strict_json::parse(text);
  SharedState state{strict_json::texts(strict_json::required(record, pathsKey)),
                    strict_json::integer(strict_json::required(record, bootTimeKey))};
  for (std::string& path : state.unlockedPaths) path = pathFromText(path);
  return state;
}

/// In JSON a slash stands only inside texts, so every one may be escaped.
std::string withEscapedSlashes(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '/') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string encoded(const SharedState& state) {
  nlohmann::json record;
  record[pathsKey] = nlohmann::json::array();
  for (const std::string& path : state.unlockedPaths) record[pathsKey].push_back(textFromPath(path));
  record[bootTimeKey] = state.bootTime;
  return withEscapedSlashes(record.dump());
}

}  // namespace

std::optional<Path> SharedState::defaultURL() {
  const auto container = groupContainer(groupIdentifier);
  if (!container) return std::nullopt;
  return *container / "state.json";
}

std::optional<SharedState> SharedState::read(const std::optional<Path>& file) {
  if (!file) return std::nullopt;
  try {
    return decoded(readFile(*file));
  } catch (const std::filesystem::filesystem_error&) {
    return std::nullopt;  // an unknown state has rules of its own
  } catch (const UnreadableRecord&) {
    return std::nullopt;
  }
}

void SharedState::write(const Path& file) const {
  createDirectories(file.parent_path());
  replaceFile(file, encoded(*this));
}

std::optional<std::set<std::string>> SharedState::unlockedSet(int64_t currentBootTime) const {
  if (bootTime != currentBootTime) return std::nullopt;
  return std::set<std::string>(unlockedPaths.begin(), unlockedPaths.end());
}

int64_t SharedState::currentBootTime() {
  return bootTimeSeconds();
}

}  // namespace tavrine
