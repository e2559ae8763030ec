#include "platform/core_dumps.h"

#include <sys/resource.h>

namespace tavrine {

void disableCoreDumps() {
  // A limit of 1 rather than 0: the kernel takes no notice of the limit when a program collects the dumps, 1 excepted,
  // and 1 byte is too small for a file. Clearing the "dumpable" attribute instead would give /proc/self to root, which
  // the lister of open files and the image's server look into; and no child would keep it.
  const rlimit none{1, 1};
  (void)::setrlimit(RLIMIT_CORE, &none);
}

}  // namespace tavrine
