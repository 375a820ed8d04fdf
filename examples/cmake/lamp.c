#include <lamp.h>
#include <board.h>

int lamp(int n) { return n + BOARD_TICKS; }
