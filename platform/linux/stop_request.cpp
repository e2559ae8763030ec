#include "platform/stop_request.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tavrine {

StopRequest::StopRequest() : handle_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (handle_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

StopRequest::~StopRequest() {
  (void)::close(handle_);  // it holds nothing that could be lost
}

void StopRequest::raise() {
  (void)::eventfd_write(handle_, 1);  // fails only when it has been raised 2^64 times
}

bool StopRequest::isRaised() const {
  pollfd raised{handle_, POLLIN, 0};
  while (::poll(&raised, 1, 0) < 0 && errno == EINTR) {
  }
  return (raised.revents & POLLIN) != 0;
}

}  // namespace tavrine
