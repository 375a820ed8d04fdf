// Keeps a run from writing into what it reads: no mistyped line shall cost a source file.
//
// Files are compared by device and inode, so links, other spellings of a path and redirected standard
// streams count as the file behind them. Only regular files do: a terminal may well be both ends.
// A refusal is one raw line that names the file, and the run ends with status 1 before anything is
// emptied, appended or removed.
#ifndef PREPROCESSOR_FILECHECK_H
#define PREPROCESSOR_FILECHECK_H

struct stat;

// The arguments come from the file `name`, or from standard input if that is absent. `name` is lent.
void files_noteArguments(const char* name, const struct stat& status);

// Called ahead of the options: compares the file arguments, wherever they stand, with each other and with the
// files that options open or remove. Changes no argument. Asks the system only if there is such an
// option.
void files_lookAhead(int argc, char** argv);

// Called once both are open and nothing is emptied yet. `-` names a standard stream. In a -dM
// run the output is the list's file.
void files_check(const char* input_name, const struct stat& input, const char* output_name, const struct stat& output);

// Called for each include file that has been opened: refuses the output. What the run has not written yet is
// dropped then, for with `>>x.h` the user's text is still in that file.
void files_checkInclude(const char* path, const struct stat& status);

#endif
