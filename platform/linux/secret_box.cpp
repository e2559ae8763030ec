#include "platform/secret_box.h"
