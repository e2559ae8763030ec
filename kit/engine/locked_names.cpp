#include <charconv>

#include "kit/engine/locker.h"
#include "kit/records/locked_extension.h"
#include "platform/file_items.h"
#include "platform/text.h"
#include "platform/type_registry.h"

namespace tavrine {
namespace {

constexpr size_t longestBase = 242;       // bytes
constexpr size_t longestVolumeName = 63;  // bytes
constexpr int64_t firstCollisionNumber = 2;
constexpr const char* fallbackName = "Tavrine item";

/// `text` without as many of its last characters as it takes to have no more than so many bytes. A first character that
/// is longer than that is cut between its scalars: an image without a name would not be known by its extension.
std::string shortened(const std::string& text, size_t mostBytes) {
  if (text.size() <= mostBytes) return text;
  size_t length = 0;
  for (const std::string_view character : characters(text)) {
    if (length + character.size() > mostBytes) break;
    length += character.size();
  }
  if (length > 0) return text.substr(0, length);
  const auto isInsideScalar = [&text](size_t at) { return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
  for (length = mostBytes; length > 1 && isInsideScalar(length);) --length;
  return text.substr(0, length);
}

std::string withoutKnownExtension(const std::string& name) {
  const std::string extension = pathExtension(name);
  if (extension.empty() || !isKnownExtension(extension)) return name;
  return nameWithoutExtension(name);
}

Path lockedURL(const Path& folder, const std::string& base) {
  return folder / (base + "." + std::string(lockedExtension));
}

}  // namespace

std::string Locker::lockedBaseName(const std::string& name, Form form) {
  if (form == Form::folder) return name;
  const std::string once = withoutKnownExtension(name);
  return once == name ? name : withoutKnownExtension(once);
}

Path Locker::availableLockedURL(const std::string& base, const Path& folder) {
  const std::string fitting = shortened(base, longestBase);
  Path candidate = lockedURL(folder, fitting);
  // A dangling link takes its name as well: nothing could be moved there.
  for (int64_t number = firstCollisionNumber; isSomethingAt(candidate); ++number) {
    candidate = lockedURL(folder, fitting + " " + std::to_string(number));
  }
  return candidate;
}

std::string Locker::volumeName(const std::string& name) {
  return shortened(name, longestVolumeName);
}

std::string Locker::itemName(const std::optional<ItemMarker>& marker, const std::optional<LockedItem>& record,
                             const Path& locked) {
  if (marker && ItemMarker::isSafeName(marker->name)) return marker->name;
  if (record && ItemMarker::isSafeName(record->displayName)) return record->displayName;
  const std::string name = nameWithoutExtension(locked);
  return ItemMarker::isSafeName(name) ? name : fallbackName;
}

std::optional<std::string> Locker::unmigratedSuffix(std::string_view current, std::string_view displayName) {
  if (current == displayName) return "";
  if (!current.starts_with(displayName)) return std::nullopt;
  current.remove_prefix(displayName.size());
  if (!current.starts_with(' ')) return std::nullopt;
  const std::string_view digits = current.substr(1);
  int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  if (number < firstCollisionNumber || std::to_string(number) != digits) return std::nullopt;
  return std::string(current);
}

bool Locker::isPackageExtension(const std::string& extension) {
  return !extension.empty() && isPackageType(extension);
}

}  // namespace tavrine
