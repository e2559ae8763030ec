#include "kit/records/item_index.h"
