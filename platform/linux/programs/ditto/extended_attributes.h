#pragma once

#include "platform/linux/programs/ditto/open_item.h"

namespace tavrine {

/// Gives `to` the extended attributes of `from`, its access-control lists last. Left out are what the system gives each
/// file by itself: labels and signatures of security modules, and views that a file system offers of its own data under
/// "system.". An attribute that `to` cannot hold is a `CopyError` that names it.
void copyExtendedAttributes(const OpenItem& from, const OpenItem& to);

/// Takes away the access-control lists that `item` got from the folder it was made in. Throws `CopyError`.
void removeAccessControlLists(const OpenItem& item);

}  // namespace tavrine
