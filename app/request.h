#pragma once

#include <optional>
#include <vector>

#include "platform/paths.h"

namespace tavrine {

/// What the user asked for, as the command line says it. Relative paths are still relative.
struct Request {
  bool json = false;
  bool quiet = false;
  bool noColor = false;
  bool yes = false;  ///< answers every question
  std::optional<Path> passwordFile = std::nullopt;
  std::optional<Path> supportDirectory = std::nullopt;

  bool all = false;    ///< lock-now: every unlocked item
  bool force = false;  ///< lock-now: also what is in use
  bool open = false;   ///< reveal: show it on the desktop
  std::vector<Path> paths = {};
};

}  // namespace tavrine
