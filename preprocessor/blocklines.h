// Lines of a file, many at once: the fast road of blank lines, comments, skipped groups, and text lines.
//
// It works on the bytes of the block while no line is current, and stops ahead of whatever could have another
// effect than the usual one: control lines, continuations, trigraphs, comments that need a message, calls that
// the frames above the file cannot end by themselves. Most bytes of text go to the output as they lie, in runs
// as long as a line.
#ifndef PREPROCESSOR_BLOCKLINES_H
#define PREPROCESSOR_BLOCKLINES_H

#include <cstdint>

#include "preprocessor/textlines.h"

// Takes lines from the current frame, which has used up its line; `pending` is the number of lines without output
// and is kept up to date. False: the next line is to be read. True: it stopped within a text line, whose rest is
// to be written from `state` on.
bool block_lines(std::int32_t* pending, text_state* state);

#endif
