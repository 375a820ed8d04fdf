// The arguments of whole calls (wholecalls.h), collected.
#ifndef PREPROCESSOR_WHOLELIST_H
#define PREPROCESSOR_WHOLELIST_H

#include "preprocessor/wholetext.h"

// Begins the list of a call of `macro`, behind its `(`. `owner` is the walker of the text that the call stands in,
// absent for the file.
void list_begin(whole_list* list, const macro_def* macro, const walker* owner);

// The arguments of a call in the text of `w`, from behind the `(` to behind the `)`. They lie in gWholeStore.
bool list_collect(walker* w, const macro_def* macro, whole_list* list);

// The same in a file's text: from `p` to behind the `)`, ahead of `end`. Counts the lines that it takes, and keeps
// the start of the last of them.
text_byte* list_collectFile(text_byte* p, const text_byte* end, whole_list* list, std::uint32_t* lines,
                            text_byte** line);

#endif
