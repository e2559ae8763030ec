#include "app/password_source.h"
