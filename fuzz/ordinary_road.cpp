// Stands in for preprocessor/roads.cpp in the program `cpp-ordinary`, which fuzz/run compares with the real
// one: all text takes the ordinary road.
#include "preprocessor/roads.h"

const bool kFastRoads = false;
