#include "platform/stop_signals.h"
