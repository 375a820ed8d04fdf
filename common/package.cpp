// The end of a run with debug output: the diagnostic package and the container report.
//
// What comes in: the debug-out file of this run and the archive named by the `zip` item, which may hold the
// files of earlier runs and may be anything at all. What goes out: the archive with one entry more, or as it
// was if it can't be read or written; it is never changed where it lies (package_target.h). Nothing here fails
// the run; each step that doesn't work is a warning.
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#if __has_include(<miniz/miniz.h>)
#include <miniz/miniz.h>
#else
#include <miniz.h>
#endif

#include "common/db_warning.h"
#include "common/hash.h"
#include "common/osdep.h"
#include "common/package_target.h"
#include "common/qvdebug.h"
#include "common/stringcache.h"
#include "common/vector.h"

// Level 6, and entry names differ by case.
constexpr mz_uint ENTRY_FLAGS = 6 | MZ_ZIP_FLAG_CASE_SENSITIVE;

// The library looks at an entry's extra field before it has checked that the entry's name, which may claim
// 65535 bytes, lies inside the directory. So its blocks have room behind them for a name and an extra field.
constexpr std::size_t OVERREAD_BYTES = std::size_t{2} * 65536;

// What an archive claims about the size of its directory is believed up to here.
constexpr std::size_t DIRECTORY_BYTES_MAX = 64u << 20;

static mz_zip_archive gPackage;

// For blocks of a directory that is read.
static void* directory_realloc(void*, void* block, std::size_t items, std::size_t size) {
  std::size_t bytes;
  if (__builtin_mul_overflow(items, size, &bytes) || bytes > DIRECTORY_BYTES_MAX) return nullptr;
  return std::realloc(block, bytes + OVERREAD_BYTES);
}

// The little-endian number in `bytes` bytes at `at`.
static std::uint64_t number_at(const unsigned char* at, unsigned bytes) {
  std::uint64_t number = 0;
  while (bytes-- > 0) number = number << 8 | at[bytes];
  return number;
}

// True if a record that ends a directory, in its short or its long form, follows and gives the directory's size.
static bool end_record_follows(std::FILE* archive, std::uint64_t directory_bytes) {
  constexpr std::size_t SHORT_BYTES = 22;
  constexpr std::size_t LONG_BYTES = 56;
  unsigned char record[LONG_BYTES];
  const std::size_t length = std::fread(record, 1, LONG_BYTES, archive);
  if (length >= SHORT_BYTES && std::memcmp(record, "PK\5\6", 4) == 0)
    return number_at(record + 12, 4) == directory_bytes;
  return length == LONG_BYTES && std::memcmp(record, "PK\6\6", 4) == 0 && number_at(record + 40, 8) == directory_bytes;
}

// True if the entries of the directory reach exactly to its end. The library lets a gap pass, but an entry added
// behind a gap could not be found again.
static bool directory_isWhole(const char* path) {
  constexpr std::size_t ENTRY_BYTES = 46;  // ahead of the name
  unsigned char entry[ENTRY_BYTES];
  std::FILE* archive = std::fopen(path, "rb");
  if (archive == nullptr) return false;
  bool whole = fseeko(archive, static_cast<off_t>(gPackage.m_central_directory_file_ofs), SEEK_SET) == 0;
  std::uint64_t directory_bytes = 0;
  for (mz_uint32 i = 0; whole && i < gPackage.m_total_files; i++) {
    whole = std::fread(entry, ENTRY_BYTES, 1, archive) == 1;
    const std::uint64_t rest = number_at(entry + 28, 2) + number_at(entry + 30, 2) + number_at(entry + 32, 2);
    whole = whole && fseeko(archive, static_cast<off_t>(rest), SEEK_CUR) == 0;
    directory_bytes += ENTRY_BYTES + rest;
  }
  whole = whole && end_record_follows(archive, directory_bytes);
  std::fclose(archive);
  return whole;
}

static bool is_regularFile(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && S_ISREG(status.st_mode);
}

// Opens the archive for reading. Only a regular file can be one, and to open a pipe could mean to wait for ever.
static bool read_package(const char* path) {
  if (!is_regularFile(path)) return false;
  gPackage.m_pRealloc = directory_realloc;
  if (!mz_zip_reader_init_file(&gPackage, path, 0)) return false;
  if (!directory_isWhole(path)) {
    mz_zip_reader_end(&gPackage);
    return false;
  }
  gPackage.m_pRealloc = miniz_def_realloc_func;  // the directory may grow
  return true;
}

// The name in the archive is always relative and has no `\`.
static const char* entry_name(const char* path) {
  if (osdep_isAbsolute(path)) path = cache_joinPath("SYSTEM_ROOT", path + 1);
  return cache_translate(path, "\\", "/");
}

// Opens an existing archive to add to it: its directory is read, and what is written goes to the target. False if it
// can't be read.
static bool open_package(package_target* target, const char* file) {
  if (!read_package(target->archive)) {
    db_warning("Unable to open package zip file (%s) for reading to append \"%s\"", gZipPath, file);
    return false;
  }
  if (!package_begin(target)) mz_zip_reader_end(&gPackage);  // then each of the next steps fails, and tells so
  if (!mz_zip_writer_init_from_reader(&gPackage, target->path)) {
    db_warning("Unable to covert package zip file (%s) reader to a writer to append \"%s\"", gZipPath, file);
  }
  return true;
}

static bool create_package(package_target* target, const char* file) {
  if (package_begin(target) && mz_zip_writer_init_file(&gPackage, target->path, 0)) return true;
  db_warning("Unable to init package zip file (%s) to add \"%s\"", gZipPath, file);
  return false;
}

// Writes the entry and the new directory; only a package without fault takes the old one's place.
static void write_package(package_target* target, const char* file) {
  const char* name = entry_name(file);
  // A pipe in the place of the debug-out file would be read for ever.
  bool whole = is_regularFile(file) && mz_zip_writer_add_file(&gPackage, name, file, nullptr, 0, ENTRY_FLAGS);
  if (!whole) db_warning("Unable to add archive \"%s\" (from \"%s\") to package zip (%s)", name, file, gZipPath);
  if (!mz_zip_writer_finalize_archive(&gPackage)) {
    db_warning("Unable to finalize package zip (%s) after adding \"%s\"", gZipPath, file);
    whole = false;
  }
  if (!mz_zip_writer_end(&gPackage) || (whole && !package_commit(target))) {
    db_warning("Unable to end package zip (%s) after adding \"%s\"", gZipPath, file);
  }
}

static void add_toPackage(const char* file) {
  gPackage = mz_zip_archive();
  package_target target;
  if (!package_lock(&target, gZipPath)) {
    db_warning("Unable to lock package zip (%s) to add \"%s\"", gZipPath, file);
  } else if (target.exists ? open_package(&target, file) : create_package(&target, file)) {
    write_package(&target, file);
  }
  package_release(&target);
}

void db_finish() {
  // A file that the user named himself is his to send.
  if (gDefaultOut != 0 && gZipPath != nullptr && osdep_exists(gFilePath)) add_toPackage(gFilePath);
  if ((gDebugFlags & DBF_ADT) != 0) {
    hash_writeMasterList();
    vec_writeMasterList();
  }
}
