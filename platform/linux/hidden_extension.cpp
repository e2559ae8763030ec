#include "platform/hidden_extension.h"
