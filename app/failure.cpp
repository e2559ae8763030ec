#include "app/failure.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "app/support_directory.h"
#include "kit/errors/tavrine_error.h"
#include "platform/text.h"

namespace tavrine {
namespace {

/// In the order of `TavrineError::Case`.
constexpr std::array<std::string_view, 22> caseNames = {
    "notEnoughSpace",
    "inUse",
    "diskImage",
    "copyFailed",
    "verificationFailed",
    "restoreVerificationFailed",
    "refused",
    "lockedButOriginalRemains",
    "lockedButRemovalUnfinished",
    "stillInICloud",
    "containsUnlockedItem",
    "containsMountedDisk",
    "containsAppleDouble",
    "finderLocked",
    "containsFinderLocked",
    "hardLinked",
    "wrongPassword",
    "notLocked",
    "notFound",
    "cancelled",
    "needsAllLocked",
    "changedWhileLocking",
};
static_assert(static_cast<size_t>(TavrineError::Case::changedWhileLocking) + 1 == caseNames.size());

ExitCode exitCodeOf(TavrineError::Case kind) {
  switch (kind) {
    case TavrineError::Case::wrongPassword:
      return ExitCode::wrongPassword;
    case TavrineError::Case::inUse:
      return ExitCode::inUse;
    case TavrineError::Case::cancelled:
      return ExitCode::cancelled;
    default:
      return ExitCode::failed;
  }
}

Failure failureOfTavrine(const TavrineError& error) {
  Failure failure{exitCodeOf(error.kind()), std::string(caseNames.at(static_cast<size_t>(error.kind()))),
                  error.errorDescription()};
  if (const auto notice = error.lockedNotice()) {
    failure.title = notice->title;
    failure.message = notice->message;
  }
  if (const auto* mismatches = error.payload<std::vector<TreeMismatch>>()) {
    constexpr size_t mostShown = 5;
    for (size_t i = 0; i < std::min(mostShown, mismatches->size()); ++i) {
      failure.details.push_back(mismatches->at(i).description());
    }
  }
  return failure;
}

}  // namespace

Failure failureOf(const std::exception& error) {
  if (const auto* tavrine = dynamic_cast<const TavrineError*>(&error)) return failureOfTavrine(*tavrine);
  if (dynamic_cast<const SupportDirectoryBusy*>(&error) != nullptr) return {ExitCode::busy, "busy", error.what()};
  if (const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
    const std::string place = file->path1().empty() ? "" : file->path1().string() + ": ";
    return {ExitCode::failed, "system", repairedUtf8(place + file->code().message())};
  }
  const bool isSystem = dynamic_cast<const std::system_error*>(&error) != nullptr;
  return {ExitCode::failed, isSystem ? "system" : "other", repairedUtf8(error.what())};
}

void Outcome::add(ExitCode code) {
  ++items_;
  if (code == ExitCode::done) return;
  isMixed_ = isMixed_ || (failed_ > 0 && failure_ != code);
  isCancelled_ = isCancelled_ || code == ExitCode::cancelled;
  failure_ = code;
  ++failed_;
}

ExitCode Outcome::exitCode() const {
  if (failed_ == 0) return ExitCode::done;
  if (isCancelled_) return ExitCode::cancelled;
  return failed_ == items_ && !isMixed_ ? failure_ : ExitCode::someFailed;
}

}  // namespace tavrine
