#include "kit/records/item_marker.h"

#include <filesystem>

#include "kit/records/json_codec.h"
#include "platform/file_manager.h"
#include "platform/path_text.h"

namespace tavrine {
namespace {

ItemMarker decoded(std::string_view text) {
  using strict_json::required;
  const nlohmann::json record = strict_json::parse(text);
  return {strict_json::integer(required(record, "formatVersion")),
          JSONCodec::namedCase(required(record, "kind"), lockedItemKind),
          pathFromText(strict_json::text(required(record, "name")))};
}

}  // namespace

void ItemMarker::write(const Path& volume) const {
  const nlohmann::json record = {
      {"formatVersion", formatVersion}, {"kind", rawValue(kind)}, {"name", textFromPath(name)}};
  writeFile(volume / fileName, record.dump());
}

std::optional<ItemMarker> ItemMarker::read(const Path& volume) {
  try {
    return decoded(readFile(volume / fileName));
  } catch (const std::filesystem::filesystem_error&) {
    return std::nullopt;  // no marker is an answer: the record or the image's name then says what it is
  } catch (const UnreadableRecord&) {
    return std::nullopt;
  }
}

bool ItemMarker::isSafeName(std::string_view name) {
  if (name.empty() || name == "." || name == "..") return false;
  return name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

}  // namespace tavrine
