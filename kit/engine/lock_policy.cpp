#include "kit/engine/lock_policy.h"
