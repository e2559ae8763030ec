#include "platform/linux/programs/die_with_parent.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace tavrine {

void dieWithParent() {
  const pid_t parent = ::getppid();
  // A parent that ended before the call sends no signal any more; it shows in that we have another one then.
  if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || ::getppid() != parent) ::_exit(EXIT_FAILURE);
}

}  // namespace tavrine
