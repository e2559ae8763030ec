#include "kit/records/operation_journal.h"
