#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/uuid.h"

namespace tavrine {

/// The long-running work in progress, and whether the user has asked to quit. Consulted before new work, before a
/// password change and when the user quits. It starts, stops and waits for nothing. A plain value: an owner that shares
/// it between threads guards it.
class Activity final {
 public:
  static constexpr std::string_view quittingRefusal = "Tavrine is quitting, so it cannot start anything new.";

  /// Registers work and returns what `end` takes. The description reads well behind "Tavrine is still ". Does not ask
  /// whether the user is quitting: `acceptsNewWork` tells.
  Uuid begin(std::string description);

  /// Unregisters work; an unknown identifier changes nothing.
  void end(const Uuid& id);

  bool isIdle() const { return running_.empty(); }

  /// What is running, in the order it began; work described alike is listed as often as it runs.
  std::vector<std::string> descriptions() const;

  bool isQuitting() const { return isQuitting_; }
  bool acceptsNewWork() const { return !isQuitting_; }
  void beginQuitting() { isQuitting_ = true; }
  void cancelQuitting() { isQuitting_ = false; }

  /// Why a password change cannot start now; nothing when it can.
  std::optional<std::string> passwordChangeRefusal() const;

  /// The refusal of a password change while that work runs.
  static std::string passwordChangeRefusal(const std::vector<std::string>& descriptions);

  /// The question to a user who quits while that work runs.
  static std::string quitQuestion(const std::vector<std::string>& descriptions);

 private:
  struct Work {
    Uuid id;
    std::string description;
  };

  std::vector<Work> running_;
  bool isQuitting_ = false;
};

}  // namespace tavrine
