// Stands in for preprocessor/textrun.cpp in the program `cpp-ordinary`, which fuzz/run compares with the
// real one: every token takes the ordinary road.
#include "preprocessor/textrun.h"

bool text_run(text_state*) { return false; }
