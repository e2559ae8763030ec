#pragma once

namespace tavrine {

/// Makes the kernel kill this program when the one that started it ends, in whatever way: work whose result nobody
/// awaits any more is not gone on with. Called first of all. Ends the program where its starter has ended already.
void dieWithParent();

}  // namespace tavrine
