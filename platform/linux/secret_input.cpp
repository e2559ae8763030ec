#include "platform/secret_input.h"
