// Where the tools are installed, worked out from the path of the running program.
//
//   root/version            version directory, whatever its name
//   root/version/tnk        tool tree, which must exist
//   root/version/tnk/bin    the program's home; root/version/tnk-as/bin and root/version/bin are accepted
//
// Nothing here raises an alert: a path that can't be found comes back absent.
#ifndef COMMON_QVINSTDIR_H
#define COMMON_QVINSTDIR_H

enum qvinstdir_row {
  QVINSTDIR_FIRST = 0,
  QVINSTDIR_DIR = QVINSTDIR_FIRST,  // the install directory, above all versions
  QVINSTDIR_VER,                    // the version directory; the rows that follow lie in it
  QVINSTDIR_BIN,
  QVINSTDIR_DOCS,
  QVINSTDIR_INCLUDE,
  QVINSTDIR_ETC,
  QVINSTDIR_TNK,
  QVINSTDIR_RSK,
  QVINSTDIR_VLASMX,
  QVINSTDIR_TNK_AS,
  QVINSTDIR_LAST
};

// Interned; both absent until set_qvinstall_paths succeeds, then fixed.
extern const char* qvinstall_ver;
extern const char* qvinstall_dir;

// Derives both from the path of the running program. A failure leaves both absent.
void set_qvinstall_paths();

// The same from the path `program`, which may be absent.
void set_qvinstall_pathsFrom(const char* program);

// The interned path of a row, absent if the installation can't be found. Derives the paths on first need; a
// failure is not remembered.
const char* qvinstdir(int path);

#endif
