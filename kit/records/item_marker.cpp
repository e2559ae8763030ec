#include "kit/records/item_marker.h"
