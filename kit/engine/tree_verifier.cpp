#include "kit/engine/tree_verifier.h"
