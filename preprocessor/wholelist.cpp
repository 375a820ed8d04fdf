// The arguments of whole calls.
//
// In a file's text and a body all is stored as it lies. In an argument's own text calls are carried out while it is
// collected: what comes of them is stored, by the walk over the macro's body.
#include "preprocessor/wholelist.h"

// --- Storing ---

static bool store_has(std::size_t length) {
  return static_cast<std::size_t>(gWholeStore + WHOLE_STORE_BYTES - gWhole.fill) >= length + 3;
}

// Ahead of a unit of an argument that is no white space.
static bool begin_unit(whole_list* at) {
  if (at->begun) return true;
  if (at->count == MACRO_PARAMS_MAX) return false;
  at->start[at->count] = gWhole.fill;
  at->begun = true;
  at->spaces = false;
  return true;
}

static void store_blank(whole_list* at) {
  if (at->spaces) *gWhole.fill++ = ' ';
  at->spaces = false;
}

static bool store_bytes(whole_list* at, const text_byte* from, std::size_t length) {
  if (!begin_unit(at) || !store_has(length)) return false;
  store_blank(at);
  copy_bytes(gWhole.fill, from, length);
  gWhole.fill += length;
  return true;
}

static bool end_argument(whole_list* at) {
  if (!begin_unit(at) || !store_has(1)) return false;
  *gWhole.fill++ = CODE_END;
  at->start[++at->count] = gWhole.fill;
  at->begun = false;
  return true;
}

// A comma or a `)` outside parentheses, in the text of `w`.
static bool end_byte(whole_list* at, text_byte unit, const walker* w) {
  if (unit == ',') return end_argument(at);
  at->done = true;
  return w == at->owner && (!at->begun || end_argument(at));
}

// An identifier that is no call; `macro` is what has its name.
static bool store_name(whole_list* at, const name_token* name, const macro_def* macro) {
  static constexpr text_byte kMark[COPY_STEP] = {CODE_NO_EXPAND};
  if (macro == at->macro && !name->hidden && !store_bytes(at, kMark, 1)) return false;
  return store_bytes(at, name->start, static_cast<std::size_t>(name->end - name->start));
}

// Bytes that are stored as they lie, wherever they lie.
enum run_source { RUN_FILE, RUN_BODY, RUN_ARGUMENT };
static constexpr byte_set make_runBytes(run_source source) {
  byte_set bytes{};
  for (int c = 1; c < 256; c++) {
    const byte_kind kind = kKinds.of[c];
    const bool word = kind == KIND_LETTER || (kind == KIND_NO_EXPAND && source == RUN_BODY);
    bytes.has[c] = kind == KIND_DIGIT || kind == KIND_DOT || kind == KIND_SIGN || (word && source != RUN_ARGUMENT);
  }
  if (source == RUN_FILE) bytes.has[static_cast<text_byte>('?')] = false;
  return bytes;
}
static constexpr byte_set kRunBytes[] = {make_runBytes(RUN_FILE), make_runBytes(RUN_BODY), make_runBytes(RUN_ARGUMENT)};

// A run of such bytes, of parentheses and what they enclose, and of single blanks: its end, which is `p` if `p` ends
// the argument; nullptr: no room.
template <class Byte>
static Byte* store_run(whole_list* at, Byte* p, const byte_set* bytes) {
  if (!begin_unit(at) || !store_has(1)) return nullptr;
  store_blank(at);
  const text_byte* const limit = gWholeStore + WHOLE_STORE_BYTES;
  text_byte* fill = gWhole.fill;
  for (; fill < limit; p++) {
    if (!bytes->has[*p]) {
      if (*p == '(') {
        at->depth++;
      } else if (*p == ')' || *p == ',') {
        if (at->depth == 0) break;
        if (*p == ')') at->depth--;
      } else if (*p != ' ' || !bytes->has[p[1]]) {
        break;
      }
    }
    *fill++ = *p;
  }
  gWhole.fill = fill;
  return fill < limit ? p : nullptr;
}

// --- Texts ---

static bool collect(walker* w, whole_list* at);
static bool collect_call(walker* w, macro_def* macro, const name_token* name, whole_list* at);

// A name in an argument's text, whose calls are carried out while it is collected.
static bool collect_name(walker* w, whole_list* at) {
  const name_token name = whole_name(w->at);
  if (name.start == nullptr || !begin_unit(at)) return false;
  w->at = name.end;
  macro_def* macro = find_macro(&name);
  const bool at_end = *name.end == CODE_END;
  if (macro == nullptr || !is_visible(w, macro, at_end)) return store_name(at, &name, macro);
  if (!at_end) return collect_call(w, macro, &name, at);
  gWhole.named = macro;
  gWhole.name = name;
  return true;
}

static bool collect_argument(walker* w, whole_list* at) {
  whole_text* of = w->of;
  const text_byte* text = of->args[w->at[1]].text;
  w->at += 2;
  if (*text == CODE_END) return true;
  walker argument = {text, of, w->at, 0, false};
  of->macro->disable--;
  const bool done = collect(&argument, at);
  of->macro->disable++;
  if (!done || gWhole.named == nullptr) return done;
  macro_def* macro = gWhole.named;
  const name_token name = gWhole.name;
  gWhole.named = nullptr;
  return collect_call(w, macro, &name, at);
}

// What a call brings up first is looked at as the call itself was, even in a body.
static bool collect_first(walker* w, whole_list* at) {
  while (*w->at == CODE_PARAM && *w->of->args[w->at[1]].text == CODE_END) w->at += 2;
  switch (kind_at(w->at)) {
    case KIND_END: at->spaces = false; return true;
    case KIND_PARAM: return true;
    case KIND_LETTER:
    case KIND_NO_EXPAND: break;
    default: return is_token(w->at) && w->at[1] != CODE_PASTE;
  }
  name_token name = whole_name(w->at);
  if (name.start == nullptr) return false;
  w->at = name.end;
  if (*w->at == CODE_PASTE && !whole_paste(w, &name)) return false;
  if (*w->at == CODE_PARAM) return false;
  macro_def* macro = find_macro(&name);
  if (macro == nullptr || macro->disable != 0) return store_name(at, &name, macro);
  return collect_call(w, macro, &name, at);
}

static bool collect_text(macro_def* macro, const whole_list* list, whole_list* at, std::uint32_t level) {
  whole_text text;
  if (!whole_beginText(&text, macro, list, level)) return false;
  walker w = {text.text, &text, nullptr, 0, false};
  macro->disable++;
  const bool done = collect_first(&w, at) && collect(&w, at);
  macro->disable--;
  return done;
}

// Arguments of a call whose text is collected itself make room for that.
static bool keep_list(whole_list* list, text_byte* start) {
  const auto length = static_cast<std::size_t>(gWhole.fill - start);
  if (!kept_hasRoom(length + CODED_SLACK)) return false;
  copy_bytes(gWhole.kept, start, length);
  for (std::uint32_t n = 0; n <= list->count; n++) list->start[n] = gWhole.kept + (list->start[n] - start);
  gWhole.kept += length + CODED_SLACK;
  gWhole.fill = start;
  return true;
}

static bool collect_dynamic(const macro_def* macro, whole_list* at) {
  std::size_t length;
  const text_byte* text = whole_dynamicText(macro, &length);
  return text != nullptr && store_bytes(at, text, length);
}

// `macro`, whose name has been read in the text of `w` and is visible there.
static bool collect_call(walker* w, macro_def* macro, const name_token* name, whole_list* at) {
  if (*w->at == CODE_PARAM || !whole_count()) return false;
  text_byte* const kept = gWhole.kept;
  text_byte* const start = gWhole.fill;
  bool done;
  if (macro->nargs == MACRO_LINE || macro->nargs == MACRO_FILE) {
    done = collect_dynamic(macro, at);
  } else if (macro->nargs < 0) {
    done = collect_text(macro, nullptr, at, w->of->level + 1);
  } else {
    const call_form form = whole_takeOpen(w);
    if (form != CALL_OPEN) return form == CALL_NONE && store_name(at, name, macro);
    whole_list list;
    done = list_collect(w, macro, &list) && keep_list(&list, start) && collect_text(macro, &list, at, w->of->level + 1);
  }
  gWhole.kept = kept;
  return done;
}

static bool collect_literal(walker* w, whole_list* at) {
  const text_byte* start = w->at;
  w->at = whole_endOfLiteral(start);
  return w->at != nullptr && store_bytes(at, start, static_cast<std::size_t>(w->at - start));
}

static bool collect_slash(walker* w, whole_list* at) { return is_loneSlash(w, w->at) && store_bytes(at, w->at++, 1); }

static bool collect_run(walker* w, whole_list* at) {
  w->at = store_run(at, w->at, &kRunBytes[w->follow != nullptr ? RUN_ARGUMENT : RUN_BODY]);
  return w->at != nullptr;
}

// Units of the text go to the argument in the making, to the end of the text or of the list.
static bool collect(walker* w, whole_list* at) {
  for (;;) {
    bool done;
    switch (kind_at(w->at)) {
      case KIND_END: return true;
      case KIND_BLANK:
        at->spaces = true;
        w->at++;
        continue;
      case KIND_PASTE: w->at++; continue;
      case KIND_PARAM:
        done = collect_argument(w, at);
        if (done && gWhole.named != nullptr) return true;
        break;
      case KIND_NO_EXPAND:
      case KIND_LETTER:
        done = w->follow != nullptr ? collect_name(w, at) : collect_run(w, at);
        if (done && gWhole.named != nullptr) return true;
        break;
      case KIND_QUOTE: done = collect_literal(w, at); break;
      case KIND_SLASH: done = collect_slash(w, at); break;
      case KIND_CLOSE:
      case KIND_COMMA:
        if (at->depth == 0) {
          done = end_byte(at, *w->at++, w);
          if (at->done) return done;
          break;
        }
        [[fallthrough]];
      case KIND_OPEN:
      case KIND_DIGIT:
      case KIND_DOT:
      case KIND_SIGN: done = collect_run(w, at); break;
      default: return false;
    }
    if (!done) return false;
  }
}

void list_begin(whole_list* list, const macro_def* macro, const walker* owner) {
  list->macro = macro;
  list->owner = owner;
  list->depth = list->count = 0;
  list->begun = list->spaces = list->done = false;
  list->start[0] = gWhole.fill;
}

bool list_collect(walker* w, const macro_def* macro, whole_list* list) {
  list_begin(list, macro, w);
  return collect(w, list) && list->done;
}

// --- The file's text ---

// The end of the literal at `p`, absent where its line does not close it, or a byte could be more than itself.
static text_byte* end_ofLiteral(text_byte* p) {
  const text_byte quote = *p++;
  for (; *p != quote; p++) {
    if (*p == '\\' && *++p == '?') return nullptr;
    if (*p < CODES || *p == '\n' || (*p == '?' && p[1] == '?')) return nullptr;
  }
  return p + 1;
}

static bool is_usualSlash(const text_byte* p) {
  return (is_token(p + 1) || kind_at(p + 1) == KIND_BLANK) && !opens_comment(p) && p[1] != '?';
}

// The end of a token at `p`; `p` itself or nullptr if it could have another effect than the usual one.
static text_byte* store_token(whole_list* list, text_byte* p) {
  text_byte* end;
  switch (kind_at(p)) {
    case KIND_QUOTE: end = end_ofLiteral(p); break;
    case KIND_SLASH: end = is_usualSlash(p) ? p + 1 : nullptr; break;
    default: end = *p == '?' && p[1] != '?' ? p + 1 : nullptr; break;
  }
  return end != nullptr && store_bytes(list, p, static_cast<std::size_t>(end - p)) ? end : nullptr;
}

text_byte* list_collectFile(text_byte* p, const text_byte* end, whole_list* list, std::uint32_t* lines,
                            text_byte** line) {
  while (p != nullptr && p < end) {
    switch (kind_at(p)) {
      case KIND_NEWLINE:
        ++*lines;
        *line = p + 1;
        list->spaces = true;
        p++;
        break;
      case KIND_BLANK:
        list->spaces = true;
        p++;
        break;
      case KIND_CLOSE:
      case KIND_COMMA:
        if (list->depth == 0) {
          if (!end_byte(list, *p++, nullptr)) return nullptr;
          if (list->done) return p;
          break;
        }
        [[fallthrough]];
      case KIND_OPEN:
      case KIND_LETTER:
      case KIND_DIGIT:
      case KIND_DOT: p = store_run(list, p, &kRunBytes[RUN_FILE]); break;
      default: p = kRunBytes[RUN_FILE].has[*p] ? store_run(list, p, &kRunBytes[RUN_FILE]) : store_token(list, p); break;
    }
  }
  return nullptr;
}
