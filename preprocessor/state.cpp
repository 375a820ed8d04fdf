// Definitions of the run state, with the few values that do not start at zero.
#include "preprocessor/state.h"

bool gKeepCommentsOption;
bool gListMacros;
bool gShowSearchList;
bool gShowIncludes;
int gDepMode;
bool gDepNoSystem;
bool gVlasmMode;
std::uint32_t gIdentifierMax;
std::int32_t gWarningLevel;
std::uint32_t gMaxErrors = 10;
const char* gSourceName;
std::FILE* gReportHandle;
const char* gIncludeDirs[INCLUDE_DIRS_MAX];
std::uint32_t gIncludeDirsEnd;
const char* gPresetText = "";

input_frame* gCurrentFrame;
input_frame* gMainFrame;
std::uint32_t gLine;
bool gLineStale;
bool gInLiteral;
bool gNoParamSubst;
bool gKeepComments;
bool gInAsm;
std::uint32_t gMacroDepth;
bool gInputLost;

SourceChar gToken[IDENTIFIER_MAX + 1];
std::uint32_t gTokenLength;
SourceChar gWorkBuffer[WORK_BUFFER_UNITS];
std::uint32_t gWorkFill;
SourceChar gMacroArea[MACRO_AREA_UNITS + 1];  // the last stays 0: a text that starts where the area ends
std::uint32_t gMacroAreaFill;

if_entry gIfStack[IF_STACK_ENTRIES] = {{1, 0}};
if_entry* gIfTop = gIfStack;

SourceChar* gLastMarkerFile;
const char* gMacroListFile;
const char* gArgFileName;
std::FILE* gDepStream;
char* gDepTargetName;
hash_table* gDepSeen;
