#include "kit/engine/crash_point.h"

#include <algorithm>
#include <utility>

namespace tavrine {
namespace {

constexpr std::array<std::string_view, allCrashPoints.size()> names = {
    "lockAfterCreate",        "lockAfterCopy",       "lockAfterVerify",           "lockBeforeRename",
    "lockAfterMove",          "lockAfterRename",     "lockAfterRenameToDeleting", "lockAfterDeleteOriginal",
    "restoreAfterCopy",       "restoreBeforeRename", "restoreAfterRename",        "restoreAfterDeleteLocked",
    "passwordAfterFirstItem",
};

}  // namespace

std::string_view rawValue(CrashPoint point) {
  return names.at(static_cast<size_t>(point));
}

std::optional<CrashPoint> crashPoint(std::string_view rawValue) {
  const auto found = std::find(names.begin(), names.end(), rawValue);
  if (found == names.end()) return std::nullopt;
  return allCrashPoints.at(static_cast<size_t>(found - names.begin()));
}

}  // namespace tavrine
