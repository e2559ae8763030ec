#include "app/secret_store.h"
