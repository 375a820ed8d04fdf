// The symbol table shown: the -dM list and the table of the HTML report.
#ifndef PREPROCESSOR_REPORTS_H
#define PREPROCESSOR_REPORTS_H

#include <cstdio>

#include "preprocessor/cpp6.h"

// Writes a `#define` line for each macro with a body, in chain order.
void macro_listDefines(std::FILE* stream);

// Opens the table of the report and writes a row for each macro there is. The table stays open.
void macro_reportTable();

// One more row, for a definition or an expansion. Only while gReportHandle is present.
void macro_traceEntry(const macro_def* macro);

#endif
