#include "limit.h"

int limit(void) { return LIMIT; }
