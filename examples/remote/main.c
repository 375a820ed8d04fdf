#include <lamp.h>
#include "pins.h"

int lamp(void) { return PIN_LAMP; }
#warning LAMP
