#include "kit/engine/item_facts.h"
