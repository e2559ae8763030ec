#include "tests/engine/engine_fixture.h"
