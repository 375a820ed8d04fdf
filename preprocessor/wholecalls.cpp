// Whole calls: the walk that writes, and the call in the file's text.
#include "preprocessor/wholecalls.h"

#include "preprocessor/output.h"
#include "preprocessor/wholelist.h"
#include "preprocessor/wholetext.h"

// --- Output ---

static bool has_room(std::size_t length) {
  return static_cast<std::size_t>(gWhole.out_limit - gWhole.out) >= length + 2;
}

static void write_blank() {
  if (gWhole.spaces) *gWhole.out++ = ' ';
  gWhole.spaces = gWhole.expanded = false;
}

static bool write_bytes(const text_byte* from, std::size_t length) {
  if (!has_room(length)) return false;
  write_blank();
  copy_bytes(gWhole.out, from, length);
  gWhole.out += length;
  return true;
}

// A name, without its marks.
static bool write_word(const name_token* name) {
  const auto length = static_cast<std::size_t>(name->end - name->start);
  if (!name->hidden) return write_bytes(name->start, length);
  if (!has_room(length)) return false;
  write_blank();
  for (const text_byte* p = name->start; p < name->end; p++) {
    if (*p != CODE_NO_EXPAND) *gWhole.out++ = *p;
  }
  return true;
}

// --- Calls ---

static bool write_text(walker* w);

static bool write_dynamic(walker* w, const macro_def* macro) {
  std::size_t length;
  const text_byte* text = whole_dynamicText(macro, &length);
  if (text == nullptr || !write_bytes(text, length)) return false;
  if (macro->nargs == MACRO_LINE) gWhole.tail = TAIL_NUMBER;
  w->carried++;
  return true;
}

// The text of a call, in the place of its name.
static bool write_expansion(walker* w, macro_def* macro, const whole_list* list) {
  whole_text text;
  const std::uint32_t level = w->of != nullptr ? w->of->level + 1 : 0;
  if (!has_room(0) || !whole_beginText(&text, macro, list, level)) return false;
  write_blank();
  gWhole.expanded = true;
  walker inner = {text.text, &text, nullptr, 0, level == 0};
  macro->disable++;
  const bool done = write_text(&inner);
  macro->disable--;
  if (!done || !has_room(0)) return false;
  write_blank();
  if (gWhole.tail != TAIL_NUMBER) gWhole.tail = TAIL_NONE;
  w->carried++;
  return true;
}

// `macro`, whose name has been read in the text of `w` and is visible there. The name's units are booked already.
static bool write_call(walker* w, macro_def* macro, const name_token* name) {
  gWhole.tail = TAIL_NONE;
  if (*w->at == CODE_PARAM || !has_room(0) || !whole_count()) return false;
  text_byte* const kept = gWhole.kept;
  text_byte* const start = gWhole.fill;
  bool done;
  if (macro->nargs == MACRO_LINE || macro->nargs == MACRO_FILE) {
    done = write_dynamic(w, macro);
  } else if (macro->nargs < 0) {
    done = write_expansion(w, macro, nullptr);
  } else {
    const call_form form = whole_takeOpen(w);
    if (form != CALL_OPEN) return form == CALL_NONE && write_word(name);
    whole_list list;
    done = list_collect(w, macro, &list);
    whole_noteUnits(w, 2);  // a `)` is read twice
    done = done && write_expansion(w, macro, &list);
  }
  gWhole.fill = start;
  gWhole.kept = kept;
  return done;
}

// The name that the argument ended in, met in the body.
static bool write_named(walker* w) {
  macro_def* macro = gWhole.named;
  const name_token name = gWhole.name;
  gWhole.named = nullptr;
  if (*w->at == CODE_END) {
    w->carried = 0;
  } else {
    whole_noteUnits(w, 2);
  }
  return write_call(w, macro, &name);
}

// --- Arguments ---

// Could the last token go on with the token at `p`?
static bool goes_on(const text_byte* p) {
  if (gWhole.tail <= TAIL_SIGN) return false;
  switch (kind_at(p)) {
    case KIND_LETTER:
    case KIND_NO_EXPAND: return gWhole.tail >= TAIL_NAME;
    case KIND_DIGIT: return true;
    case KIND_DOT: return gWhole.tail == TAIL_NUMBER;
    default: return false;
  }
}

// An argument that has been written before, in the same call: nothing that it depends on has changed.
static bool write_again(walker* w, const whole_argument* argument) {
  // What follows a slash has been looked at for the first use alone.
  if (goes_on(argument->text) || argument->text[argument->length - 1] == '/') return false;
  gWhole.expansions += argument->expansions;
  if (gWhole.expansions >= WHOLE_EXPANSIONS_MAX || !write_bytes(argument->out, argument->out_length)) return false;
  gWhole.spaces = argument->spaces;
  gWhole.expanded = argument->expanded;
  gWhole.tail = argument->tail;
  w->carried = argument->carried + 1;
  return true;
}

static bool write_argument(walker* w) {
  whole_text* of = w->of;
  whole_argument* argument = &of->args[w->at[1]];
  w->at += 2;
  if (argument->length == 0) {
    w->carried++;
    return true;
  }
  if (argument->kept) return write_again(w, argument);
  if (!has_room(0)) return false;
  write_blank();  // an argument begins with a token
  argument->out = gWhole.out;
  argument->expansions = gWhole.expansions;
  walker inner = {argument->text, of, w->at, w->carried, false};
  of->macro->disable--;
  const bool done = write_text(&inner);
  of->macro->disable++;
  if (!done) return false;
  w->carried = inner.carried + 1;
  if (gWhole.named != nullptr) return write_named(w);
  argument->kept = true;
  argument->out_length = static_cast<std::uint32_t>(gWhole.out - argument->out);
  argument->expansions = gWhole.expansions - argument->expansions;
  argument->carried = inner.carried;
  argument->tail = gWhole.tail;
  argument->spaces = gWhole.spaces;
  argument->expanded = gWhole.expanded;
  return true;
}

// --- Tokens ---

// Tokens in a row that are written as they lie, with single blanks between them.
struct token_row {
  const text_byte* start;
  tail_kind last;    // of the last token
  macro_def* macro;  // its name, which ends at `macro_end`, has ended the row
  const text_byte* macro_end;
};

// The row, up to the walker's position.
static bool write_row(walker* w, const token_row* row) {
  if (*w->at == CODE_PASTE) return false;
  const auto length = static_cast<std::size_t>(w->at - row->start);
  const bool elsewhere = is_textEnd(w->at);
  whole_noteUnits(w, length + (row->last != TAIL_NONE && !elsewhere ? 1 : 0));
  if (elsewhere) gWhole.tail = row->last;
  return write_bytes(row->start, length);
}

// A macro's name, which ends at the walker's position, its units booked.
static bool write_macro(walker* w, macro_def* macro, const name_token* name) {
  const bool at_end = *w->at == CODE_END;
  if (!is_visible(w, macro, at_end)) return write_word(name);
  if (w->follow == nullptr || !at_end) return write_call(w, macro, name);
  gWhole.tail = TAIL_NONE;
  gWhole.named = macro;
  gWhole.name = *name;
  return true;
}

static void note_name(walker* w, const name_token* name) {
  const bool elsewhere = is_textEnd(w->at);
  whole_noteUnits(w, static_cast<std::size_t>(name->end - name->start) + (elsewhere ? 0 : 1));
  if (elsewhere) gWhole.tail = TAIL_NAME;
}

// A name that has a mark or is pasted.
static bool write_name(walker* w) {
  name_token name = whole_name(w->at);
  if (name.start == nullptr || goes_on(w->at)) return false;
  w->at = name.end;
  if (*w->at != CODE_PASTE) {
    note_name(w, &name);
  } else if (!whole_paste(w, &name)) {
    return false;
  }
  macro_def* macro = find_macro(&name);
  return macro == nullptr ? write_word(&name) : write_macro(w, macro, &name);
}

// The end of the name at `p`, if it is no macro's, as most are. `p` itself: it is that of row->macro, or `macro` is
// absent and the name takes a closer look.
static const text_byte* end_ofWord(const text_byte* p, token_row* row) {
  const text_byte* end = p + 1;
  while (kWordBytes.has[*end]) end++;
  const auto length = static_cast<std::uint32_t>(end - p);
  if (*end == CODE_PASTE || *end == CODE_NO_EXPAND || length > gIdentifierMax) return p;
  const std::uint64_t shape = macro_shape(p, length);
  if (macro_mayExist(shape)) {
    row->macro = macro_findShape(p, length, shape);
    row->macro_end = end;
    if (row->macro != nullptr) return p;
  }
  row->last = TAIL_NAME;
  return end;
}

// A number, or a lone dot; nullptr: given up.
static const text_byte* end_ofNumber(const text_byte* p, tail_kind* last) {
  if (*p == '.' && !char_isDigit(p[1])) {
    *last = TAIL_DOT;
    return p + 1;
  }
  bool open;
  const text_byte* end = whole_endOfNumber(p, &open);
  *last = TAIL_NUMBER;
  return *end == CODE_NO_EXPAND || (open && is_textEnd(end)) ? nullptr : end;
}

// The end of the token at `p` in the row, or of a single blank between two; `p` itself if the row ends there; nullptr:
// given up.
static const text_byte* end_ofToken(walker* w, const text_byte* p, token_row* row) {
  switch (kind_at(p)) {
    case KIND_BLANK: return *p == ' ' && p != row->start && is_token(p + 1) ? p + 1 : p;
    case KIND_LETTER: return end_ofWord(p, row);
    case KIND_DIGIT:
    case KIND_DOT: return end_ofNumber(p, &row->last);
    case KIND_QUOTE: row->last = TAIL_NONE; return whole_endOfLiteral(p);
    case KIND_SLASH:
      if (!is_loneSlash(w, p)) return nullptr;
      if (p[1] == CODE_PARAM) whole_noteUnits(w, 2);  // the marker is read, and given back
      row->last = TAIL_SIGN;
      return p + 1;
    case KIND_OPEN:
    case KIND_CLOSE:
    case KIND_COMMA:
    case KIND_SIGN:
      while (is_sign(p)) p++;
      row->last = char_canCatenate(char_class(p[-1])) ? TAIL_SIGN : TAIL_NONE;
      return p;
    default: return p;
  }
}

static bool write_tokens(walker* w) {
  if (goes_on(w->at)) return false;
  token_row row = {w->at, TAIL_NONE, nullptr, nullptr};
  const text_byte* p = w->at;
  for (const text_byte* end; (end = end_ofToken(w, p, &row)) != p; p = end) {
    if (end == nullptr) return false;
  }
  w->at = p;
  if (p != row.start && !write_row(w, &row)) return false;
  if (row.macro == nullptr) return p != row.start || write_name(w);
  const name_token name = {p, row.macro_end, false};
  w->at = name.end;
  note_name(w, &name);
  return write_macro(w, row.macro, &name);
}

static bool pass_blank(walker* w) {
  const text_byte* start = w->at++;
  whole_noteUnits(w, 1);
  if (gWhole.expanded) return write_bytes(start, 1);
  gWhole.spaces = true;
  return true;
}

// To the end of the text, or of an argument that ends in a macro's name.
static bool write_text(walker* w) {
  for (;;) {
    bool done;
    switch (kind_at(w->at)) {
      case KIND_END: return true;
      case KIND_PARAM: done = write_argument(w); break;
      case KIND_NO_EXPAND: done = write_name(w); break;
      case KIND_BLANK: done = pass_blank(w); break;
      default: done = is_token(w->at) && write_tokens(w); break;
    }
    if (!done) return false;
    if (gWhole.named != nullptr) return true;
  }
}

// --- The file's text ---

// Does the number that the call ended in end ahead of the byte at `p`, whatever reading it does?
static bool ends_number(const text_byte* p) {
  const byte_kind kind = kind_at(p);
  return kind == KIND_BLANK || kind == KIND_NEWLINE || kind == KIND_QUOTE || (kind >= KIND_OPEN && *p != '?');
}

static text_byte* skip_blanks(text_byte* p) {
  while (char_isWhite(*p)) p++;
  return p;
}

// Does the name ahead of `p`, a function-like macro's, stand for itself, and is the byte there just read and given
// back?
static bool is_noCall(const text_byte* p) { return kind_at(p) >= KIND_QUOTE && *p != '?' && *p != '/'; }

static void begin(input_frame* frame) {
  constexpr std::uint32_t ROOM = OUT_BUFFER_BYTES / 4;
  out_reserve(ROOM);
  gWhole.frame = frame;
  gWhole.out = gOutPos;
  gWhole.out_limit = gOutBuffer + (OUT_BUFFER_BYTES - 2 * COPY_STEP);
  gWhole.fill = gWholeStore;
  gWhole.kept = gWholeKept;
  gWhole.named = nullptr;
  gWhole.expansions = 0;
  gWhole.line = gLine;
  gWhole.pending = frame->pending_depth;
  gWhole.tail = TAIL_NONE;
  gWhole.spaces = gWhole.expanded = false;
}

// From behind the name, or the `(`: writes the call, and returns where the text goes on.
static text_byte* write_fileCall(macro_def* macro, text_byte* at, const text_byte* end, whole_call* call) {
  walker file = {nullptr, nullptr, nullptr, 0, false};
  whole_list list;
  const bool has_list = macro->nargs >= 0;
  if (has_list) {
    list_begin(&list, macro, nullptr);
    at = list_collectFile(at, end, &list, &call->lines, &call->line);
    if (at == nullptr) return nullptr;
    gWhole.line += call->lines;
  }
  if (!whole_count() || !write_expansion(&file, macro, has_list ? &list : nullptr)) return nullptr;
  return gWhole.tail == TAIL_NUMBER && !ends_number(at) ? nullptr : at;
}

whole_call whole_write(input_frame* frame, macro_def* macro, unsigned char* at, unsigned char* end) {
  whole_call call = {nullptr, nullptr, 0, 0, true};
  if (macro->nargs < MACRO_OBJECT) return call;
  if (macro->nargs >= 0) {
    text_byte* open = skip_blanks(at);
    if (*open != '(') {
      if (open != at || !is_noCall(at)) return call;
      call.behind = at;
      call.is_call = false;
      return call;
    }
    at = open + 1;
  }
  begin(frame);
  call.behind = write_fileCall(macro, at, end, &call);
  if (call.behind == nullptr) return call;
  call.pending = gWhole.pending;
  gOutPos = gWhole.out;
  return call;
}
