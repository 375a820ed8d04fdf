// The HTML writer: the report's files, the document frame, headings with contents, tables, plain output.
//
// What comes in: the path of `--udf=` and, in the order of the document, what is to stand in it. What goes
// out: the three files of the report. Every write goes through the operations of the first section, which
// drop what has no file and remember the first write that failed.
#include "common/html.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "common/alert.h"
#include "common/osdep.h"
#include "common/stringcache.h"
#include "common/vector.h"

struct html_table {
  std::uint32_t columns;
  std::uint32_t cells;  // written in the current row
};

std::FILE* gHtmlStream;
std::FILE* gHtmlTocStream;
std::uint32_t gHtmlLabelCount;
std::int32_t gHtmlTocDepth;

static const char* main_filename;  // file name of the document, without directory
static const char* gHtmlTocName;   // file name of the contents, without directory
static const char* gHtmlDir;       // directory of the report, absent with no `/` in its path
static const char* gHtmlStyle;     // name of the style sheet, or absent
static html_table* curTable;       // the table in progress, or absent
static vector* gHtmlTables;        // outer tables of the one in progress, absent until first needed

constexpr char CONTENTS_PREFIX[] = "toc_";  // ahead of the report's name
constexpr char DOCUMENT_PREFIX[] = "main_";
constexpr std::size_t DOCUMENT_BUFFER_BYTES = 65536;
static char gHtmlBuffer[DOCUMENT_BUFFER_BYTES];  // of gHtmlStream: a report can have a row for each macro call

constexpr long LABEL_COUNT_OFFSET = 14;  // of the digits in the contents' first line

static const char* gHtmlStreamName;  // path of the file behind gHtmlStream
static const char* gHtmlTocPath;     // path of the file behind gHtmlTocStream
static const char* gHtmlLostPath;    // the first file that did not take a text
static int gHtmlLostError;           // the system's reason

// ---- streams ----

static void note_loss(const char* path) {
  if (gHtmlLostPath != nullptr) return;
  gHtmlLostError = errno;
  gHtmlLostPath = path;
}

static void document_text(const char* text) {
  if (fputs_unlocked(text, gHtmlStream) == EOF) note_loss(gHtmlStreamName);
}

// Nearly every format of a long report is plain text or just "%s", which needs no formatter.
HTML_PRINTF(1, 0) static void document_vprint(const char* format, std::va_list args) {
  if (gHtmlStream == nullptr) return;
  if (std::strchr(format, '%') == nullptr) {
    document_text(format);
  } else if (std::strcmp(format, "%s") == 0) {
    document_text(va_arg(args, const char*));
  } else if (std::vfprintf(gHtmlStream, format, args) < 0) {
    note_loss(gHtmlStreamName);
  }
}

void HTML_print(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  document_vprint(format, args);
  va_end(args);
}

void HTML_char(unsigned char c) {
  if (gHtmlStream != nullptr && putc_unlocked(c, gHtmlStream) == EOF) note_loss(gHtmlStreamName);
}

void HTML_writeSource(const SourceChar* text) {
  if (gHtmlStream == nullptr) return;
  sc_write(text, gHtmlStream);
  if (std::ferror(gHtmlStream) != 0) note_loss(gHtmlStreamName);
}

HTML_PRINTF(1, 2) static void toc_print(const char* format, ...) {
  if (gHtmlTocStream == nullptr) return;
  std::va_list args;
  va_start(args, format);
  if (std::vfprintf(gHtmlTocStream, format, args) < 0) note_loss(gHtmlTocPath);
  va_end(args);
}

static void open_document(const char* path) {
  gHtmlStreamName = path;
  gHtmlStream = std::fopen(path, "w");
  if (gHtmlStream != nullptr) std::setvbuf(gHtmlStream, gHtmlBuffer, _IOFBF, sizeof gHtmlBuffer);
}

static void close_document() {
  if (gHtmlStream != nullptr && std::fclose(gHtmlStream) != 0) note_loss(gHtmlStreamName);
  gHtmlStream = nullptr;
}

// `name` in the directory of a report, interned. A directory that is the empty string is the root.
static const char* path_in(const char* directory, const char* name) {
  if (directory == nullptr) return name;
  char* joined = osdep_joinPath(directory[0] != '\0' ? directory : "/", name);
  const char* path = cache_intern(joined);
  std::free(joined);
  return path;
}

static const char* report_path(const char* name) { return path_in(gHtmlDir, name); }

void HTML_namedFiles(const char* path, file_visitor visit) {
  visit(path, "the report");
  char* directory = osdep_dirName(path);
  for (const char* prefix : {CONTENTS_PREFIX, DOCUMENT_PREFIX}) {
    visit(path_in(directory, cache_concat(prefix, osdep_baseName(path))), "the report");
  }
  std::free(directory);
}

bool HTML_lost(const char** path, int* error) {
  if (gHtmlStream != nullptr && std::fflush(gHtmlStream) != 0) note_loss(gHtmlStreamName);
  if (gHtmlTocStream != nullptr && std::fflush(gHtmlTocStream) != 0) note_loss(gHtmlTocPath);
  *path = gHtmlLostPath;
  *error = gHtmlLostError;
  return gHtmlLostPath != nullptr;
}

// ---- the frame of the document ----

static void write_head(const char* title, const char* arg) {
  HTML_print("<HTML>\n<HEAD>\n");
  if (title != nullptr) HTML_print("<TITLE>%s%s</TITLE>\n", title, arg);
  if (gHtmlStyle != nullptr) HTML_print("<LINK rel=stylesheet href=\"%s\" type=\"text/css\">\n", gHtmlStyle);
  HTML_print("</HEAD>\n<BODY>\n");
}

std::FILE* HTML_open(const char* path, const char* title, const char* arg, const char* style) {
  path = cache_intern(path);
  gHtmlLabelCount = 0;
  char* directory = osdep_dirName(path);
  gHtmlDir = cache_intern(directory);
  std::free(directory);
  close_document();
  open_document(path);
  if (gHtmlStream == nullptr) {
    alert_unnumbered("F", "Could not open file %s", path);
    return nullptr;
  }
  main_filename = osdep_baseName(path);
  gHtmlStyle = style;
  write_head(title, arg);
  return gHtmlStream;
}

static void open_contents() {
  gHtmlTocName = cache_concat(CONTENTS_PREFIX, main_filename);
  gHtmlTocPath = report_path(gHtmlTocName);
  gHtmlTocStream = std::fopen(gHtmlTocPath, "w");
  if (gHtmlTocStream == nullptr) {
    alert_unnumbered("0", "Could not open file %s", gHtmlTocName);
    return;
  }
  toc_print("<!-- labelCnt:000: -->\n<i>Table of Contents</i><br>\n");
}

// Turns the first file, which holds its head by now, into the page of frames.
static void write_frames() {
  HTML_print("<frameset rows=\"15%%,85%%\">");
  HTML_print("<frame name =\"toc\" src=\"%s\" />", gHtmlTocName);
  HTML_print("<frame name =\"main\" src=\"%s\" />", main_filename);
  HTML_print("</frameset></HTML>\n");
}

void HTML_useTOC(std::int32_t depth) {
  CONTAINER_ASSERT(main_filename != nullptr, "main_filename");
  gHtmlTocDepth = depth;
  if (gHtmlTocStream != nullptr) return;
  open_contents();
  main_filename = cache_concat(DOCUMENT_PREFIX, main_filename);
  write_frames();
  close_document();
  open_document(report_path(main_filename));
  if (gHtmlStream == nullptr) alert_unnumbered("0", "Could not open file %s", main_filename);
  write_head(nullptr, nullptr);
}

// The digits of the contents' first line were left for the number of labels.
static void close_contents() {
  if (gHtmlTocStream == nullptr) return;
  if (std::fseek(gHtmlTocStream, LABEL_COUNT_OFFSET, SEEK_SET) == 0) {
    toc_print("%3d", static_cast<int>(gHtmlLabelCount));
  } else {
    note_loss(gHtmlTocPath);
  }
  if (std::fclose(gHtmlTocStream) != 0) note_loss(gHtmlTocPath);
  gHtmlTocStream = nullptr;
}

void HTML_close() {
  HTML_print("</BODY>\n</HTML>\n");
  close_document();
  close_contents();
}

// ---- headings ----

void HTML_anchor(const char* name) { HTML_print("<a name=\"%s\">", name); }

static void write_contentsEntry(int level, const char* text) {
  toc_print(" ");
  for (int i = 1; i < level; i++) toc_print("&nbsp");
  toc_print(" <a class=\"%s\" HREF=\"%s#%d\"%s>%s</A><br>\n", "", main_filename, static_cast<int>(gHtmlLabelCount),
            "target=\"main\"", text);
  gHtmlLabelCount++;
}

void HTML_heading(int level, const char* text) {
  const bool in_contents = gHtmlTocStream != nullptr && gHtmlTocDepth >= level;
  if (in_contents) HTML_anchor(cache_printf("%d", static_cast<int>(gHtmlLabelCount)));
  HTML_print("<h%d class=\"%s\">%s</h%d>\n", level, "", text, level);
  if (in_contents) write_contentsEntry(level, text);
}

void HTML_commandLine(const char* const* argv, int argc, const char* name) {
  HTML_anchor("CLA");
  HTML_heading(2, cache_concat("Command Line Arguments for ", name));
  for (int i = 0; i < argc; i++) HTML_print("<code>%s</code><br>\n", argv[i]);
}

// ---- tables ----

void HTML_startTable(std::uint32_t columns) {
  if (curTable != nullptr) {
    if (gHtmlTables == nullptr) gHtmlTables = vec_new_func();
    vec_add(gHtmlTables, to_word(curTable));
  }
  curTable = static_cast<html_table*>(mem_alloc(sizeof(html_table)));
  curTable->columns = columns;
  HTML_print("<table class=\"%s\">\n", "");
}

void HTML_cell(const char* format, ...) {
  CONTAINER_ASSERT(curTable != nullptr, "curTable");
  if (curTable->cells == curTable->columns) {
    HTML_print("</td></tr>\n");
    curTable->cells = 0;
  }
  HTML_print(curTable->cells == 0 ? "<tr><td>" : "</td><td>");
  std::va_list args;
  va_start(args, format);
  document_vprint(format, args);
  va_end(args);
  curTable->cells++;
}

void HTML_endTable() {
  CONTAINER_ASSERT(curTable != nullptr, "curTable");
  std::free(curTable);
  curTable = gHtmlTables != nullptr ? word_ptr<html_table>(vec_pop(gHtmlTables)) : nullptr;
  HTML_print("</td></table>\n");
}
