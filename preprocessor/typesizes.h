// `sizeof` in `#if`: the table of type sizes, its option, and the parser of the operand.
#ifndef PREPROCESSOR_TYPESIZES_H
#define PREPROCESSOR_TYPESIZES_H

#include <cstdint>

// `-S`: sizes of types, for `-Slist`, `-S*list` and `-SPlist`; `option` is the whole argument. Values
// go in row by row; what is left out keeps its size. Raises 166, 167.
void type_setSizes(const char* option);

// The operand of `sizeof`, behind the word. True: `*size` is the value. False: the expression ends
// after an error. Raises 130 to 134, 1486, 2035.
bool type_readSizeof(std::int64_t* size);

#endif
