// What a package is written to: a copy beside the archive that takes the archive's name once it is whole.
//
// Whatever ends a run in between, a full disk or a signal, there is the old archive or the new one, and runs that
// add to one archive at the same time wait for each other. The order:
//
//   package_lock      waits for other runs; tells whether there is an archive
//   package_begin     makes the copy, or an empty file for a new archive
//   (the caller writes the whole file at `path`)
//   package_commit    flushes it to the disk and renames it
//   package_release   removes what was not committed, lets the next run go on
//
// Two locks hold others off: one of a file of our own beside the archive, since there may be no archive yet, and one
// of the archive, for those who may write the archive but not its folder. These write it in place.
#ifndef COMMON_PACKAGE_TARGET_H
#define COMMON_PACKAGE_TARGET_H

struct package_target {
  const char* path;     // what is to be written; set by package_begin
  const char* archive;  // where the links of the archive's path lead
  bool exists;          // there is an archive
  bool in_place;        // `path` is the archive itself: its folder may not be written, or it may not, which will tell
  int archive_file;     // the archive, open and locked; -1 if it doesn't exist or may not be written
  int lock_file;        // the file of our own, open and locked; -1 if none can be made in the folder
  const char* lock_path;
  char* copy;  // the path of the copy while it exists
  int copy_file;
};

// Fills in `target` for the archive at `path`, whose links are followed. False if the locks can't be had within ten
// seconds, or something goes wrong. Whatever it says, package_release is to be called.
bool package_lock(package_target* target, const char* path);

// False if there can be no copy; the archive is as it was.
bool package_begin(package_target* target);

// False if the copy could not take the archive's place, which then is as it was.
bool package_commit(package_target* target);

void package_release(package_target* target);

#endif
