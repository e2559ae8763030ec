#include "kit/errors/tavrine_error.h"

#include <array>
#include <string_view>
#include <utility>

#include "platform/byte_count.h"
#include "platform/text.h"

namespace tavrine {
namespace {

constexpr const char* removalUnfinished =
    "Tavrine could not finish removing the unlocked original. It will finish next time it opens.";

/// What stands before and behind the error's own data in its message.
struct Frame {
  std::string_view before;
  std::string_view after;
};

/// In the order of the cases.
constexpr std::array<Frame, 22> frames = {{
    {"Not enough free space. Tavrine needs ", " is free."},
    {"Files are still open in ", ". Close them, then try again."},
    {"macOS could not open the locked item: ", ""},
    {"Copying failed: ", ""},
    {"The locked copy did not match the original (", "), so nothing was changed."},
    {"The restored copy did not match the locked item (", "), so nothing was changed. The item is still locked."},
    {"", ""},
    {"", " is locked, but Tavrine could not remove the unlocked original. It will try again next time it opens."},
    {"", " is locked, but "},
    {"Some files in ", " are still in iCloud. Download them first, then try again."},
    {"", " contains an unlocked Tavrine item. Lock it first."},
    {"", " contains a mounted disk image. Eject it, then try again."},
    {"",
     " contains hidden macOS metadata files (their names start with ._) that Tavrine cannot lock safely. Remove them, "
     "then try again."},
    {"", " is marked Locked in Finder. Choose File > Get Info, untick Locked, then try again."},
    {"", " contains files marked Locked in Finder. Choose File > Get Info, untick Locked, then try again."},
    {"", " has another copy linked to it elsewhere, so Tavrine cannot lock it safely."},
    {"That password did not work.", ""},
    {"This is not a Tavrine locked item.", ""},
    {"That item could not be found.", ""},
    {"Cancelled. Nothing was changed.", ""},
    {"Lock every unlocked item first.", ""},
    {"The item changed while it was being locked, so nothing was changed. Try again.", ""},
}};
static_assert(frames.size() == static_cast<size_t>(TavrineError::Case::changedWhileLocking) + 1);

/// The error's own data as it reads inside the message.
struct PayloadText {
  std::string operator()(std::monostate) const { return {}; }
  std::string operator()(const std::string& text) const { return text; }
  std::string operator()(const std::vector<std::string>& apps) const { return TavrineError::list(apps); }
  std::string operator()(LockRefusal refusal) const { return std::string(message(refusal)); }
  std::string operator()(const TavrineError::Space& space) const {
    return byteCountText(space.needed) + ", but only " + byteCountText(space.available);
  }
  std::string operator()(const std::vector<TreeMismatch>& mismatches) const {
    return std::to_string(mismatches.size()) + " difference" + (mismatches.size() == 1 ? "" : "s");
  }
};

}  // namespace

TavrineError::TavrineError(Case kind, Payload payload)
    : kind_(kind), payload_(std::move(payload)), message_(repairedUtf8(composeMessage())) {}

TavrineError TavrineError::notEnoughSpace(int64_t needed, int64_t available) {
  return TavrineError(Case::notEnoughSpace, Space{needed, available});
}
TavrineError TavrineError::inUse(std::vector<std::string> apps) {
  return TavrineError(Case::inUse, std::move(apps));
}
TavrineError TavrineError::diskImage(std::string detail) {
  return TavrineError(Case::diskImage, std::move(detail));
}
TavrineError TavrineError::copyFailed(std::string detail) {
  return TavrineError(Case::copyFailed, std::move(detail));
}
TavrineError TavrineError::verificationFailed(std::vector<TreeMismatch> mismatches) {
  return TavrineError(Case::verificationFailed, std::move(mismatches));
}
TavrineError TavrineError::restoreVerificationFailed(std::vector<TreeMismatch> mismatches) {
  return TavrineError(Case::restoreVerificationFailed, std::move(mismatches));
}
TavrineError TavrineError::refused(LockRefusal refusal) {
  return TavrineError(Case::refused, refusal);
}
TavrineError TavrineError::lockedButOriginalRemains(std::string name) {
  return TavrineError(Case::lockedButOriginalRemains, std::move(name));
}
TavrineError TavrineError::lockedButRemovalUnfinished(std::string name) {
  return TavrineError(Case::lockedButRemovalUnfinished, std::move(name));
}
TavrineError TavrineError::stillInICloud(std::string name) {
  return TavrineError(Case::stillInICloud, std::move(name));
}
TavrineError TavrineError::containsUnlockedItem(std::string name) {
  return TavrineError(Case::containsUnlockedItem, std::move(name));
}
TavrineError TavrineError::containsMountedDisk(std::string name) {
  return TavrineError(Case::containsMountedDisk, std::move(name));
}
TavrineError TavrineError::containsAppleDouble(std::string name) {
  return TavrineError(Case::containsAppleDouble, std::move(name));
}
TavrineError TavrineError::finderLocked(std::string name) {
  return TavrineError(Case::finderLocked, std::move(name));
}
TavrineError TavrineError::containsFinderLocked(std::string name) {
  return TavrineError(Case::containsFinderLocked, std::move(name));
}
TavrineError TavrineError::hardLinked(std::string name) {
  return TavrineError(Case::hardLinked, std::move(name));
}
TavrineError TavrineError::wrongPassword() {
  return TavrineError(Case::wrongPassword);
}
TavrineError TavrineError::notLocked() {
  return TavrineError(Case::notLocked);
}
TavrineError TavrineError::notFound() {
  return TavrineError(Case::notFound);
}
TavrineError TavrineError::cancelled() {
  return TavrineError(Case::cancelled);
}
TavrineError TavrineError::needsAllLocked() {
  return TavrineError(Case::needsAllLocked);
}
TavrineError TavrineError::changedWhileLocking() {
  return TavrineError(Case::changedWhileLocking);
}

std::string TavrineError::composeMessage() const {
  const auto* apps = payload<std::vector<std::string>>();
  if (apps != nullptr && apps->empty()) return "Some files are still open. Close them, then try again.";
  const Frame& frame = frames.at(static_cast<size_t>(kind_));
  std::string text(frame.before);
  text += std::visit(PayloadText{}, payload_);
  text += frame.after;
  if (kind_ == Case::lockedButRemovalUnfinished) text += removalUnfinished;
  return text;
}

std::optional<TavrineError::Notice> TavrineError::lockedNotice() const {
  if (kind_ == Case::lockedButOriginalRemains) return Notice{"The unlocked original is still there", message_};
  if (kind_ == Case::lockedButRemovalUnfinished) {
    return Notice{repairedUtf8(std::get<std::string>(payload_)) + " is locked", removalUnfinished};
  }
  return std::nullopt;
}

std::string TavrineError::list(const std::vector<std::string>& names) {
  std::string text;
  for (size_t index = 0; index < names.size(); ++index) {
    if (index > 0) text += index + 1 == names.size() ? " and " : ", ";
    text += names[index];
  }
  return text;
}

}  // namespace tavrine
