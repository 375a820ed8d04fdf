// The program as it ships: the fast roads are open.
#include "preprocessor/roads.h"

const bool kFastRoads = true;
