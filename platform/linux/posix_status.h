#pragma once

#include <sys/stat.h>

#include "platform/file_status.h"

namespace tavrine {

FileType fileTypeOf(mode_t mode);
FileStatus fileStatusOf(const struct stat& status);

}  // namespace tavrine
