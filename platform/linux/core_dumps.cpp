#include "platform/core_dumps.h"
