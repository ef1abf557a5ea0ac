// String and path helpers over byte strings that know Shift_JIS double bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/byte_tables.h"

namespace tz {

struct Run;

// What the byte at `p` is in the text that begins at `base`: 0 single byte (or no
// double-byte code in force), 1 first byte, 2 second byte of a Shift_JIS character.
int byte_kind(const Run& run, const char* p, const char* base, int code, int reach);

// A byte that byte_kind never takes for a second byte: a byte that only stands alone
// ('<', '&', a blank and the rest of ASCII below 0x40) makes its walk certain at once.
// A scan can pass such a byte without asking.
inline bool never_second(uint8_t c) {
  return tbl::sjis[c] == tbl::kSingle;
}

// Replaces occurrences of `search` in `text`, whose room is `size` bytes. With `code`
// 1 a match on a second byte doesn't count. `once` stops after the first. Result: the
// number of replacements.
int replace_text(const Run& run, std::string& text, std::string_view search, std::string_view repl,
                 size_t size, int code, int once);

// A to Z into a to z up to the first byte below 0x20; second bytes stay with code <= 1.
void lower_case(std::string& text, int code);

// Separators of a path: n -1 their number, n > 0 the offset of the n-th from the end.
int sep_pos(std::string_view path, int n);

// A piece of a path (see the table of levels); result 0 done, 1 nothing.
int path_piece(std::string_view path, std::string* out, int level, int what);

// Every blank becomes "%20"; at most `size` bytes and 1,024.
void encode_blanks(const Run& run, std::string& text, size_t size);

// The part of `path` behind what it has in common with `root`, with a closing
// separator. Result 0, or 1 with `out` empty.
int relative_path(std::string_view root, std::string_view path, std::string* out);

// Copies at most `limit` bytes of `text` into `out`.
inline void assign_cut(std::string& out, std::string_view text, size_t limit) {
  out.assign(text.substr(0, text.size() < limit ? text.size() : limit));
}

}  // namespace tz
