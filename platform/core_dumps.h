#pragma once

namespace tavrine {

/// From now on neither this process nor a child leaves a core dump, which could hold passwords. For good: no child can
/// take it back. A failure is left alone, since nothing depends on it.
void disableCoreDumps();

}  // namespace tavrine
