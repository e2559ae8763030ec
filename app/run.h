#pragma once

#include "app/console.h"
#include "app/interruption.h"
#include "app/request.h"
#include "app/running_work.h"
#include "platform/paths.h"

namespace tavrine {

/// What every command works with, for the one run of the program. Borrowed from `runCommandLine`.
struct Run {
  const Request& request;
  const Path& supportDirectory;
  Console& console;
  RunningWork& work;
  const Interruption& interruption;
};

}  // namespace tavrine
