#include "app/secret_access.h"
