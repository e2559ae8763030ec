#include "kit/engine/recovery_report.h"
