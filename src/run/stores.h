// The two string stores and the named strings of the program: constants (cstr),
// strings that follow the board's language and the output code (vstr, tags),
// fixed rows (array) and the messages (cmsg).
#pragma once

#include <cstddef>
#include <string_view>

#include "run/messages.h"

namespace tz {

struct Run;

constexpr size_t kConstStoreSize = 20000;
constexpr size_t kVariStoreSize = 70000;

// A slot of the variable store: rewritable up to its size (NUL included).
struct Slot {
  char* p = nullptr;
  size_t size = 0;
  const char* c_str() const { return p ? p : ""; }
  std::string_view view() const { return p ? std::string_view(p) : std::string_view(); }
};

struct Stores {
  // One byte beyond the size: a string that ends the store exactly keeps its NUL.
  char const_array[kConstStoreSize + 1] = {};
  size_t const_fill = 0;
  char vari_array[kVariStoreSize] = {};
  size_t vari_fill = 0;

  // cstr
  const char* version = nullptr;
  const char* index_tag = nullptr;
  const char* comma_mark = nullptr;  // Shift_JIS bytes 81 97 81 4D
  const char* index_html = nullptr;
  const char* index_html2 = nullptr;
  const char* index_stem = nullptr;
  const char* slash = nullptr;
  const char* be_ranks[3] = {};
  const char* log_name = nullptr;
  const char* dead_marks = nullptr;  // the marks, each closed by 0x01
  bool dead_first[256] = {};         // the first bytes of the marks

  // vstr
  Slot newline, url_sep, label_name, label_name_off, label_date, label_date_off, label_mail,
      cut_note, no_title_text, broken_text, log_store, top_page, thread_list, machi;
  // tags
  Slot rule_line, body_indent, body_break;

  // array: rows of 16 bytes
  char scheme[4][16] = {};
  char charset[6][16] = {};
  char weekday[7][16] = {};

  const char* cmsg[kMsgCount] = {};

  long strings_key = -1;  // key of the last select_strings(2)
  long page_key = -1;     // key of the last page_words
};

// Stores the constants, the messages and the rows (first step at start).
void init_stores(Run& run);
// Copies `text` into the constant store; fatal 401 when it is full.
const char* store_const(Run& run, std::string_view text);
// Takes a slot of `size` bytes in the variable store; fatal 404 when full or too long.
Slot store_vari(Run& run, std::string_view text, size_t size);
// Rewrites a slot, cut to its size.
void set_slot(Slot& slot, std::string_view text);
// Makes `to` hold the strings of `from` in a variable store of its own, so that either
// may be rewritten while the other is read. The constants stay in `from`'s store,
// which nothing writes after the start: `from` must outlive `to`'s use of them.
void copy_stores(const Stores& from, Stores& to);
// Gives every tags and vstr slot that is still missing 512 bytes with an empty string.
void fill_empty_slots(Run& run);
// The output set-up of the parser: out_ext, log name, the layout tags, /m defaults.
void output_setup(Run& run);
// Stage 0 at the start of the run, 1 when the board is known, 2 when the codes are.
void select_strings(Run& run, int stage);
// The words of the index pages; which 1 thread list, 2 tree pages.
void page_words(Run& run, int which);

// A stored message, in Shift_JIS.
const char* msg(const Run& run, Msg m);

}  // namespace tz
