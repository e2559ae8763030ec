#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <filesystem>

namespace tavrine {

/// While it lives, a folder has other permissions, and they bind this thread even when it runs as root.
class RestrictedFolder final {
 public:
  RestrictedFolder(std::filesystem::path folder, std::filesystem::perms permissions)
      : folder_(std::move(folder)), before_(std::filesystem::status(folder_).permissions()) {
    std::filesystem::permissions(folder_, permissions);
    ::syscall(SYS_capget, &header_, capabilities_.data());
    auto restricted = capabilities_;
    restricted[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
    ::syscall(SYS_capset, &header_, restricted.data());
  }
  RestrictedFolder(const RestrictedFolder&) = delete;
  RestrictedFolder& operator=(const RestrictedFolder&) = delete;
  ~RestrictedFolder() {
    ::syscall(SYS_capset, &header_, capabilities_.data());
    std::filesystem::permissions(folder_, before_);
  }

 private:
  const std::filesystem::path folder_;
  const std::filesystem::perms before_;
  __user_cap_header_struct header_{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, 2> capabilities_{};
};

}  // namespace tavrine
