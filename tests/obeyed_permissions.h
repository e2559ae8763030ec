#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tavrine {

/// While it lives, permissions bind this thread, and those it starts, even when it is root.
class ObeyedPermissions final {
 public:
  ObeyedPermissions() {
    ::syscall(SYS_capget, &header_, before_);
    __user_cap_data_struct now[2] = {before_[0], before_[1]};
    now[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
    ::syscall(SYS_capset, &header_, now);
  }
  ObeyedPermissions(const ObeyedPermissions&) = delete;
  ObeyedPermissions& operator=(const ObeyedPermissions&) = delete;
  ~ObeyedPermissions() { ::syscall(SYS_capset, &header_, before_); }

 private:
  __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct before_[2]{};
};

}  // namespace tavrine
