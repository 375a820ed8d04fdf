#include <lamp.h>
#include "old.h"

int main(void) { return lamp(OLD) == TICKS ? 0 : 1; }
