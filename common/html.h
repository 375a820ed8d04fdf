// The writer of the HTML report (`--udf=dir/x.html`): three linked files.
//
//   dir/x.html       a page with two frames
//   dir/toc_x.html   the contents: a link for each heading
//   dir/main_x.html  the document: headings, tables, plain output
//
// It knows nothing of macros; callers write headings, cells and text in the order in which they shall
// appear. One report in a run; all state is process-wide. Nothing is escaped. Formats are literals of
// the code; a text of the user goes through "%s", so that a `%` in it is that character.
//
// A report without contents or main file (they could not be opened; the warning is out) still takes
// all calls, and what has nowhere to go is dropped.
#ifndef COMMON_HTML_H
#define COMMON_HTML_H

#include <cstdint>
#include <cstdio>

#include "common/hooks.h"
#include "common/osdep.h"

extern std::FILE* gHtmlStream;         // the document being written, or absent
extern std::FILE* gHtmlTocStream;      // the contents, or absent; present: headings get labels
extern std::uint32_t gHtmlLabelCount;  // the next label
extern std::int32_t gHtmlTocDepth;     // headings of this level or a lower number enter the contents

#define HTML_PRINTF(format_index, first_argument) __attribute__((format(printf, format_index, first_argument)))

// Starts a report at `path`: head with the title (`title` and `arg` joined; `title` may be absent) and the
// link to the style sheet (may be absent). Returns the stream, only as the sign that a report exists.
// `style` must stay valid. Ends the run if the file can't be opened, unless the threshold of `-W`
// hides that alert; the result is absent then, and HTML_useTOC must not be called. A second report
// takes the document over from the first.
std::FILE* HTML_open(const char* path, const char* title, const char* arg, const char* style);

// Splits the report: makes the first file the frameset, opens the contents and the main document, and
// takes headings down to level `depth` into the contents. With contents open it only sets the depth, so
// the document stays in the first file of the latest report. Aborts if no report was opened. A file that can't be
// opened is a warning of level 0, not counted, and the report goes on without it.
void HTML_useTOC(std::int32_t depth);

// Shows `visit` the three files of a report at `path`; opens nothing.
void HTML_namedFiles(const char* path, file_visitor visit);

// Ends the document, fills the number of labels into the contents, closes both.
void HTML_close();

void HTML_print(const char* format, ...) HTML_PRINTF(1, 2);  // into the document
void HTML_char(unsigned char c);                             // one byte of a text that the caller decodes
void HTML_writeSource(const SourceChar* text);               // the same for program text
void HTML_anchor(const char* name);                          // an opening anchor tag; it is never closed
void HTML_heading(int level, const char* text);              // with label and contents entry as asked for
void HTML_commandLine(const char* const* argv, int argc, const char* name);  // the arguments, one a line

// Tables nest. A cell stays open until the next one, and takes what HTML_print writes meanwhile; a row
// ends when the next begins. HTML_endTable without a table is a programming error: the process aborts.
void HTML_startTable(std::uint32_t columns);
void HTML_cell(const char* format, ...) HTML_PRINTF(1, 2);
void HTML_endTable();

// Asked once, at the end of the run: hands what is still buffered to the system and tells if any text of
// the report did not reach its file. Then true, with the file and the system's error number of the
// first failure.
bool HTML_lost(const char** path, int* error);

#endif
