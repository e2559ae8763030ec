#include "kit/records/journal_entry.h"
