#include "platform/stop_request.h"
