// The directories of the tool tree by purpose, such as its data or its headers.
//
// Nothing here raises an alert: a path that can't be found comes back absent.
#ifndef COMMON_REGISTRY_H
#define COMMON_REGISTRY_H

enum reg_type {
  REG_INSTALL = 0,  // the tool tree itself
  REG_BIN = 1,
  REG_LIB = 2,
  REG_HELP = 3,
  REG_INC = 4,
  REG_DAT = 5,
  REG_SRC = 6,
  REG_RES = 7,
  REG_DOC = 8,
  REG_INC_STD = 10  // the headers of the standard library named by reg_set_c_stdlib
};

extern const char* gCStdLib;  // interned name of the standard C library, absent at first

// Sets the library whose name is appended to REG_LIB, REG_SRC and REG_INC_STD.
void reg_set_c_stdlib(const char* name);

// The interned directory of the type, absent if the installation can't be found.
const char* reg_instdir(reg_type type);

// The interned path of a file in that directory. A name that begins with `/` stands for itself. Absent if
// the directory is.
const char* reg_mkpath(reg_type type, const char* name);

#endif
