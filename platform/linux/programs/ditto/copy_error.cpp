#include "platform/linux/programs/ditto/copy_error.h"

#include <system_error>

namespace tavrine {

CopyError::CopyError(Side side, int code, std::string_view what) : side_(side), code_(code) {
  if (!what.empty()) reason_ = std::string(what) + ": ";
  reason_ += std::generic_category().message(code);
}

bool CopyError::concernsAll() const {
  if (side_ != Side::destination) return false;
  return code_ == ENOSPC || code_ == EDQUOT || code_ == EROFS || code_ == ENOTCONN;
}

}  // namespace tavrine
