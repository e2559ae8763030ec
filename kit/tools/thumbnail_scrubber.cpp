#include "kit/tools/thumbnail_scrubber.h"

#include <system_error>

#include "kit/tools/process_runner.h"

namespace tavrine {

bool ThumbnailScrubber::reset(const Path& qlmanage) {
  constexpr double timeoutSeconds = 20;
  try {
    return ProcessRunner::run(qlmanage, {"-r", "cache"}, {.timeoutSeconds = timeoutSeconds}).status == 0;
  } catch (const std::system_error&) {
    return false;
  }
}

}  // namespace tavrine
