// `#define` and `#undef` lines, read where they lie: the fast road beside do_define and do_undef.
#ifndef PREPROCESSOR_DEFINELINES_H
#define PREPROCESSOR_DEFINELINES_H

// The rest of a `#define` or `#undef` line, from behind the word up to its newline. False, with nothing done: the line
// holds something that has an effect of its own or needs a message, and the ordinary road is to read it. Raises 111,
// 296.
bool define_inPlace();
bool undef_inPlace();

#endif
