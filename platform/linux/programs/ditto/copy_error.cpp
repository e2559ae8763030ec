#include "platform/linux/programs/ditto/copy_error.h"

#include <system_error>

namespace tavrine {

CopyError::CopyError(Side side, int code, std::string_view what) : side_(side), code_(code) {
  // A full place for attributes is one file's own affair.
  if (!what.empty()) {
    reason_ = std::string(what) + ": ";
    isOwnAffair_ = code == ENOSPC;
  }
  reason_ += std::generic_category().message(code);
}

bool CopyError::concernsAll() const {
  if (side_ != Side::destination || isOwnAffair_) return false;
  return code_ == ENOSPC || code_ == EDQUOT || code_ == EROFS || code_ == ENOTCONN;
}

}  // namespace tavrine
