// The run state: every process-wide variable that more than one file of the preprocessor uses.
//
// One process handles one primary source, so there is no context object. Each variable starts at
// zero, false or absent unless it says otherwise; its comment tells who sets it.
#ifndef PREPROCESSOR_STATE_H
#define PREPROCESSOR_STATE_H

#include <cstdint>
#include <cstdio>

#include "preprocessor/sourcechar.h"

struct input_frame;
struct hash_table;

// Sizes that are part of what the program promises; the message raised on overflow stands beside.
constexpr std::uint32_t INCLUDE_DIRS_MAX = 255;     // fatal 147
constexpr std::uint32_t WORK_BUFFER_UNITS = 32768;  // fatal 156, terminator included
constexpr std::uint32_t MACRO_AREA_UNITS = 65536;   // fatal 149
constexpr std::uint32_t IDENTIFIER_MIN = 31;        // bounds of -N
constexpr std::uint32_t IDENTIFIER_MAX = 255;
constexpr std::uint32_t FILE_NAME_MAX = 1023;  // bytes of a frame's file name

// --- Set by the command line (cpp3), read for the rest of the run ---
extern bool gKeepCommentsOption;      // -C
extern bool gListMacros;              // -dM
extern bool gShowSearchList;          // -V
extern bool gShowIncludes;            // -H
extern int gDepMode;                  // -L: DEP_NONE, DEP_LIST or DEP_GCC
extern bool gDepNoSystem;             // --dep_nosys
extern bool gVlasmMode;               // the compatibility mode is vlasm
extern std::uint32_t gIdentifierMax;  // -N: significant length of an identifier
extern std::int32_t gWarningLevel;    // -W
extern std::uint32_t gMaxErrors;      // --emax=, starts at 10
extern const char* gSourceName;       // -F; after start-up the name shown for the primary source
extern std::FILE* gReportHandle;      // --udf=: present while a report is written
extern const char* gIncludeDirs[INCLUDE_DIRS_MAX];
extern std::uint32_t gIncludeDirsEnd;
extern const char* gPresetText;  // --include=: read ahead of the primary source; never absent

enum dep_mode { DEP_NONE = 0, DEP_LIST = 1, DEP_GCC = 2 };

// --- Input position (cpp6) ---
extern input_frame* gCurrentFrame;  // top of the input stack; absent once all input has ended
extern input_frame* gMainFrame;     // frame of the primary source
extern std::uint32_t gLine;         // line in the current file, starts at 1
extern bool gLineStale;             // the output has lost step with the input
extern bool gInLiteral;             // in a comment, string, character constant or include name
extern bool gNoParamSubst;          // for one read behind a `/`: a parameter marker stays a unit
extern bool gKeepComments;          // comments are being copied to the output
extern bool gInAsm;                 // between #asm and #endasm
extern std::uint32_t gMacroDepth;   // nesting depth of macro expansion
extern bool gInputLost;             // a file could not be read to its end: the run fails

// --- Fixed buffers ---
extern SourceChar gToken[IDENTIFIER_MAX + 1];  // the last identifier read
extern std::uint32_t gTokenLength;
extern SourceChar gWorkBuffer[WORK_BUFFER_UNITS];  // scratch text
extern std::uint32_t gWorkFill;
extern SourceChar gMacroArea[MACRO_AREA_UNITS + 1];  // parameter names, arguments of calls in progress
extern std::uint32_t gMacroAreaFill;

// --- Conditionals (cpp2) ---
struct if_entry {
  std::uint8_t flags;  // IF_ bits; in entry 0 this is gCompiling
  std::uint32_t line;  // where the conditional was opened
};
constexpr std::uint32_t IF_STACK_ENTRIES = 32;  // entry 0 is the base; a 32nd conditional: fatal 144
enum if_flags : std::uint8_t { IF_WAS_COMPILING = 1, IF_ELSE_SEEN = 2, IF_TRUE_SEEN = 4 };
extern if_entry gIfStack[IF_STACK_ENTRIES];
extern if_entry* gIfTop;
inline std::uint8_t& gCompiling = gIfStack[0].flags;  // 1 while text is kept, starts at 1

// --- Output (cpp1, depend) ---
extern SourceChar* gLastMarkerFile;  // name printed by the last marker; starts absent
extern const char* gMacroListFile;   // where -dM writes, absent for standard output
extern const char* gArgFileName;     // the `@` argument, absent without one
extern std::FILE* gDepStream;        // present in a dependency run once the files are bound
extern char* gDepTargetName;
extern hash_table* gDepSeen;  // every include path opened so far

#endif
