// The output buffer and the line markers.
#include "preprocessor/output.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "common/alert.h"
#include "preprocessor/cpp6.h"
#include "preprocessor/state.h"

unsigned char gOutBuffer[OUT_BUFFER_BYTES];
unsigned char* gOutPos = gOutBuffer;
std::uint32_t gOutFlushes;

static bool gDiscard;
static bool gFailed;

void out_setDiscard(bool discard) {
  out_flush();
  gDiscard = discard;
}

void out_abandon() { gDiscard = true; }

bool out_failed() { return gFailed; }

static void report_lostText(int error) {
  gFailed = true;
  alert_raw("Could not write the output: %s", std::strerror(error));
  drv_exit(1);
}

void out_flush() {
  const unsigned char* from = gOutBuffer;
  const unsigned char* const end = gOutPos;
  gOutPos = gOutBuffer;
  gOutFlushes++;
  if (gDiscard || gFailed) return;
  while (from < end) {
    const ssize_t written = write(STDOUT_FILENO, from, static_cast<std::size_t>(end - from));
    if (written > 0) {
      from += written;
    } else if (written == 0 || errno != EINTR) {
      report_lostText(written == 0 ? ENOSPC : errno);
    }
  }
}

void out_bytes(const unsigned char* bytes, std::size_t count) {
  while (count > 0) {
    const std::size_t part = count < OUT_BUFFER_BYTES ? count : OUT_BUFFER_BYTES;
    out_reserve(static_cast<std::uint32_t>(part));
    std::memcpy(gOutPos, bytes, part);
    gOutPos += part;
    bytes += part;
    count -= part;
  }
}

void out_text(const char* text) { out_bytes(reinterpret_cast<const unsigned char*>(text), std::strlen(text)); }

void out_name(const SourceChar* name) {
  for (; *name != 0; name++) out_char(*name);
}

static void out_number(std::int32_t number) {
  char digits[16];
  const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  out_bytes(reinterpret_cast<const unsigned char*>(digits), static_cast<std::size_t>(end - digits));
}

// Names are written only when they change, so that a marker within one file stays short.
static void emit_nameIfNew() {
  const input_frame* frame = gCurrentFrame;
  if (frame == nullptr || frame->stream == nullptr) return;
  const SourceChar* name = in_shownName(frame);
  if (gLastMarkerFile != nullptr && sc_compare(gLastMarkerFile, name) == 0) return;
  out_text(" \"");
  out_name(name);
  out_text("\"");
  std::free(gLastMarkerFile);
  gLastMarkerFile = sc_dup(name);
}

// Inside an assembler block the marker is wrapped, because there a `#` line would be assembler text;
// the line of the closing `#asm` itself is the one less.
void emit_sync() {
  gLineStale = false;
  if (gInAsm) out_text("\n#endasm");
  out_text("\n# ");
  out_number(static_cast<std::int32_t>(gInAsm ? gLine - 1 : gLine));
  emit_nameIfNew();
  if (gInAsm) out_text("\n#asm");
  out_text("\n");
}

std::int32_t line_gap(std::int32_t pending) {
  constexpr std::int32_t MARKER_FROM = 5;
  const bool in_file = gCurrentFrame != nullptr && gCurrentFrame->stream != nullptr;
  if ((gLineStale && in_file) || pending >= MARKER_FROM) {
    emit_sync();
  } else {
    for (; pending > 0; pending--) out_byte('\n');
  }
  gLineStale = false;
  return 0;
}
