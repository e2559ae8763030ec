#include "kit/records/locked_item.h"

namespace tavrine {

Date currentDate() {
  using namespace std::chrono;
  // To the nearest second, a half upwards; `round` would take the even one.
  return floor<seconds>(system_clock::now() + milliseconds(500));
}

std::string_view rawValue(LockedItem::Kind kind) {
  return kind == LockedItem::Kind::file ? "file" : "folder";
}

std::string_view rawValue(LockedItem::Stage stage) {
  return stage == LockedItem::Stage::originalPending ? "originalPending" : "complete";
}

std::optional<LockedItem::Kind> lockedItemKind(std::string_view text) {
  for (const auto kind : {LockedItem::Kind::file, LockedItem::Kind::folder}) {
    if (text == rawValue(kind)) return kind;
  }
  return std::nullopt;
}

std::optional<LockedItem::Stage> lockedItemStage(std::string_view text) {
  for (const auto stage : {LockedItem::Stage::originalPending, LockedItem::Stage::complete}) {
    if (text == rawValue(stage)) return stage;
  }
  return std::nullopt;
}

}  // namespace tavrine
