// The message catalogue: finding, reading and keeping the rows of numbers, classes and texts.
//
// What comes in: the file en_msgs.txt of the installation, or a copy of the table that the program
// carries, and the file of --edf=. What goes out: rows by number for common/alert.cpp.
//
// The first catalogue read is the primary one and gives class, level and text. The one read last is
// the overlay and gives only text.
#ifndef COMMON_CATALOGUE_H
#define COMMON_CATALOGUE_H

#include <cstdint>

#include "common/alert.h"

constexpr unsigned ALERT_NUMBER_MAX = 10000;             // larger ones in a file: message 3
constexpr std::uint32_t CATALOGUE_LINE_MAX = 255;        // a longer line is read as two
constexpr std::uint32_t CATALOGUE_FILE_MAX = 64u << 20;  // bytes; a larger file counts as unreadable

struct catalogue;

extern catalogue* gAlertRows;     // the primary catalogue; absent if none was found
extern catalogue* gAlertOverlay;  // the catalogue read last
extern const char* gAlertFile;    // interned path of that one

// The table that the program carries: dat/en_msgs.txt byte for byte.
extern const char gCatalogueTable[];
extern const std::uint32_t gCatalogueTableSize;

// The path of the primary catalogue: the first that exists of the installation's, the one beside
// the program's directory, the one in the current directory, and a temporary copy of the embedded
// table. If that can't be written either, the bare name, which then doesn't open. The copy has lost its
// name already: only in its case `*copy` is an open descriptor, otherwise -1.
const char* alert_findCatalogue(int* copy);

// Reads a file and makes it the overlay, and the primary catalogue if there is none. Message 3 for
// each malformed line. Returns it, or absent if the file can't be read; then nothing has changed.
catalogue* alert_readCatalogue(const char* path);

// The same for an open file, from its start. Closes it.
catalogue* alert_readOpenCatalogue(int file, const char* path);

// --edf=: reads a further catalogue, unless it is the one read last. `path` may be absent. False if
// it can't be read.
bool alert_loadCatalogue(const char* path);

// The row of a number, with its text in `text`, which has room for CATALOGUE_LINE_MAX + 1 bytes. False,
// with nothing changed, if there is none or no catalogue.
bool catalogue_find(const catalogue* c, unsigned number, alert_row* row, char* text);

// The same for the table that the program carries.
bool catalogue_findEmbedded(unsigned number, alert_row* row, char* text);

#endif
