#pragma once

#include <poll.h>

#include <cerrno>
#include <system_error>

namespace tavrine {

enum class InputWait { ready, stopped, suspended };

/// Waits until `input` has bytes or ended, or one of the other descriptors (-1 for none) became readable; what asks for
/// an end goes first.
inline InputWait waitForInput(int input, int stop, int suspend = -1) {
  for (;;) {
    pollfd watched[] = {{input, POLLIN, 0}, {stop, POLLIN, 0}, {suspend, POLLIN, 0}};
    const int count = ::poll(watched, 3, -1);
    if (count < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
    if (count <= 0) continue;
    if (watched[1].revents != 0) return InputWait::stopped;
    if (watched[2].revents != 0) return InputWait::suspended;
    return InputWait::ready;
  }
}

}  // namespace tavrine
