#include <lamp.h>

static int unix = 0; /* a macro of gcc's own preprocessor */

int main(void) { return lamp(unix) == TICKS ? 0 : 1; }
