#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "kit/errors/lock_refusal.h"
#include "kit/errors/tree_mismatch.h"

namespace tavrine {

/// What an operation tells the user when it cannot do what was asked. It carries the data its message needs and makes
/// the message itself; callers never compose one. Made by the named operations below, thrown by the engine, equal when
/// case and data are. Names of items may be any bytes: the data keeps them, the message shows U+FFFD for what is no
/// UTF-8.
class TavrineError final : public std::exception {
 public:
  enum class Case {
    notEnoughSpace,
    inUse,
    diskImage,
    copyFailed,
    verificationFailed,
    restoreVerificationFailed,
    refused,
    lockedButOriginalRemains,
    lockedButRemovalUnfinished,
    stillInICloud,
    containsUnlockedItem,
    containsMountedDisk,
    containsAppleDouble,
    finderLocked,
    containsFinderLocked,
    hardLinked,
    wrongPassword,
    notLocked,
    notFound,
    cancelled,
    needsAllLocked,
    changedWhileLocking,
  };

  /// Bytes the operation needs and bytes there are.
  struct Space {
    int64_t needed;
    int64_t available;
    bool operator==(const Space&) const = default;
  };

  /// The notice shown when an item was locked although something was left over.
  struct Notice {
    std::string title;
    std::string message;
    bool operator==(const Notice&) const = default;
  };

  static TavrineError notEnoughSpace(int64_t needed, int64_t available);
  static TavrineError inUse(std::vector<std::string> apps);
  static TavrineError diskImage(std::string detail);
  static TavrineError copyFailed(std::string detail);
  static TavrineError verificationFailed(std::vector<TreeMismatch> mismatches);
  static TavrineError restoreVerificationFailed(std::vector<TreeMismatch> mismatches);
  static TavrineError refused(LockRefusal refusal);
  static TavrineError lockedButOriginalRemains(std::string name);
  static TavrineError lockedButRemovalUnfinished(std::string name);
  static TavrineError stillInICloud(std::string name);
  static TavrineError containsUnlockedItem(std::string name);
  static TavrineError containsMountedDisk(std::string name);
  static TavrineError containsAppleDouble(std::string name);
  static TavrineError finderLocked(std::string name);
  static TavrineError containsFinderLocked(std::string name);
  static TavrineError hardLinked(std::string name);
  static TavrineError wrongPassword();
  static TavrineError notLocked();
  static TavrineError notFound();
  static TavrineError cancelled();
  static TavrineError needsAllLocked();
  static TavrineError changedWhileLocking();

  Case kind() const { return kind_; }

  /// The data of the case, by its type: `Space`, the apps, the detail or name, the mismatches, the refusal. Null for
  /// another type.
  template <typename T>
  const T* payload() const {
    return std::get_if<T>(&payload_);
  }

  /// The message for the user, in UTF-8.
  const std::string& errorDescription() const { return message_; }

  /// The same message.
  const char* what() const noexcept override { return message_.c_str(); }

  /// Only for the two cases in which the item was locked and its unlocked original, or a part of it, is still there.
  std::optional<Notice> lockedNotice() const;

  /// The names as English prose: "A", "A and B", "A, B and C". Bytes stay as they are. Empty for no names.
  static std::string list(const std::vector<std::string>& names);

  bool operator==(const TavrineError& other) const { return kind_ == other.kind_ && payload_ == other.payload_; }

 private:
  using Payload = std::variant<std::monostate, Space, std::vector<std::string>, std::string, std::vector<TreeMismatch>,
                               LockRefusal>;

  explicit TavrineError(Case kind, Payload payload = {});

  std::string composeMessage() const;

  Case kind_;
  Payload payload_;
  std::string message_;
};

}  // namespace tavrine
