#pragma once

#include <string>

namespace tavrine {

/// Opens what is at `relativePath` below an open folder and follows no link, neither on the way nor at the end. Close
/// on exec. -1 with errno set where that fails: a link is ELOOP or ENOTDIR.
int openBelow(int folder, const std::string& relativePath, int flags);

/// The same, one folder at a time: for kernels and sandboxes that refuse the one call.
int openBelowByParts(int folder, const std::string& relativePath, int flags);

}  // namespace tavrine
