#include "platform/terminal.h"
