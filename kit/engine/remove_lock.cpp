#include "kit/engine/locker.h"
