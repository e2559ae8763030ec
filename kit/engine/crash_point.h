#pragma once

#include <array>
#include <exception>
#include <optional>
#include <string_view>

namespace tavrine {

/// A moment at which an operation can be stopped as if the process had died there.
enum class CrashPoint {
  lockAfterCreate,
  lockAfterCopy,
  lockAfterVerify,
  lockBeforeRename,
  lockAfterMove,
  lockAfterRename,
  lockAfterRenameToDeleting,
  lockAfterDeleteOriginal,
  restoreAfterCopy,
  restoreBeforeRename,
  restoreAfterRename,
  restoreAfterDeleteLocked,
  passwordAfterFirstItem,
};

/// Every crash point, in order.
inline constexpr std::array<CrashPoint, 13> allCrashPoints = {
    CrashPoint::lockAfterCreate,           CrashPoint::lockAfterCopy,           CrashPoint::lockAfterVerify,
    CrashPoint::lockBeforeRename,          CrashPoint::lockAfterMove,           CrashPoint::lockAfterRename,
    CrashPoint::lockAfterRenameToDeleting, CrashPoint::lockAfterDeleteOriginal, CrashPoint::restoreAfterCopy,
    CrashPoint::restoreBeforeRename,       CrashPoint::restoreAfterRename,      CrashPoint::restoreAfterDeleteLocked,
    CrashPoint::passwordAfterFirstItem,
};

/// The crash point's name: the name of its case.
std::string_view rawValue(CrashPoint point);

/// The crash point of that name; nothing for any other text.
std::optional<CrashPoint> crashPoint(std::string_view rawValue);

/// What an operation throws at its crash point. Nothing is cleaned up on its way out, and it is turned into no other
/// error.
class SimulatedCrash final : public std::exception {
 public:
  const char* what() const noexcept override { return "simulated crash"; }
};

}  // namespace tavrine
