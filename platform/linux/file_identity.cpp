#include "platform/file_identity.h"
