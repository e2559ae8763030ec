#include "kit/records/locked_item.h"
