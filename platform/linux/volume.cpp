#include "platform/volume.h"
