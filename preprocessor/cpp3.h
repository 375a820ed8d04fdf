// The command line and the predefined macros.
#ifndef PREPROCESSOR_CPP3_H
#define PREPROCESSOR_CPP3_H

#include "common/osdep.h"

// Applies all options, from left to right, and moves the file arguments down to argv[1] and so on.
// Returns 1 plus their number. Ends the run for --ver. Raises 110, 166 to 168, 177, 1447, fatal 147,
// 1448, 1449.
int drv_options(int argc, char** argv);

// True if drv_options would take the argument for a file.
bool drv_isFile(const char* argument);

// True if that file is a standard stream: `-`.
bool drv_isStream(const char* file);

// Shows `visit` each file that the argument, if it is an option, opens for writing or removes. False if it ends
// the run, so that no option behind it counts.
bool drv_namedFiles(const char* argument, file_visitor visit);

// Enters __STDC__, __LINE__, __FILE__, __DATE__ and __TIME__ into the empty symbol table.
void drv_presets();

#endif
