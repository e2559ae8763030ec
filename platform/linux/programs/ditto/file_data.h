#pragma once

#include <sys/stat.h>

namespace tavrine {

/// Copies the contents of the regular file `source`, whose size `status` tells, to the empty file `destination`. Holes
/// stay holes. Throws `CopyError`, also when `source` turns out to be shorter.
void copyFileData(int source, int destination, const struct stat& status);

}  // namespace tavrine
