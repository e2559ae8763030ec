#include "platform/file_flags.h"
