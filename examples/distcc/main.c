#include "lamp.h"

int main(void) { return lamp(0) == TICKS ? 0 : 1; }
