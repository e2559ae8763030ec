#include "platform/bookmark.h"
