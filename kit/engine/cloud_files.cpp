#include "kit/engine/cloud_files.h"
