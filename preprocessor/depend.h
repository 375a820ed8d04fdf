// What a build system wants to know about includes: the dependency text and the search list.
#ifndef PREPROCESSOR_DEPEND_H
#define PREPROCESSOR_DEPEND_H

#include "common/word.h"

// Creates gDepSeen. Raises 296.
void dep_init();

// Writes the text of a dependency run, an entry of gDepSeen at a time in table order.
void dep_writeAll();

// Writes the -V list of search directories to standard error.
void drv_searchList();

#endif
