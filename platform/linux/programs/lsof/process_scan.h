#pragma once

#include <vector>

#include "platform/linux/programs/lsof/holder.h"
#include "platform/linux/programs/lsof/target.h"

namespace tavrine {

/// Every process but this one that holds something of `target`, in the order of their numbers: by a descriptor, as its
/// working or root folder, as the program it runs or as a mapped file. What deleted files it finds count. Processes
/// that end meanwhile and those that this user may not look into are left out. Throws `std::system_error` where the
/// search could not be finished.
std::vector<Holder> holdersOf(Target& target);

}  // namespace tavrine
