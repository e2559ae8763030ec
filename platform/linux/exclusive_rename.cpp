#include "platform/exclusive_rename.h"
