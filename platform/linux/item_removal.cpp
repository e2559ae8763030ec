#include "platform/file_items.h"
