// Guessing a text's kanji code, and choosing the code of an output.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tz {

struct Run;

// Scores the NUL-ended `text` as Shift_JIS, EUC-JP and UTF-8 over at most limit - 2
// bytes. Result 1, 2, 3, or 0 for a tie of EUC-JP and UTF-8 ahead of Shift_JIS.
int guess_code(const char* text, long limit);

// The verdict of guess_code from the three passes alone, without the bounds that let a
// long text skip passes. The two must agree on every text.
int guess_by_passes(const char* text, long limit);

// The result of guess_code(text, limit) for a text that clean_text has swept as `code`,
// whose own score (as guess_code counts it; Shift_JIS before halving) is `own`, and
// whose first NUL stands at `len` (strnlen(text, limit)). Bounds on the two other
// scores, from a count of the bytes, settle most texts at once; the others get the
// passes of guess_code.
int guess_swept(const char* text, size_t len, long limit, int code, int64_t own);

// How many bytes of a text lie in each range that the bounds of the guesses need.
struct ByteRanges {
  int64_t high = 0;    // 0x80 and up
  int64_t r80_A0 = 0;  // 0x80 to 0xA0
  int64_t r8E_8F = 0;  // 0x8E and 0x8F
  int64_t r81_9F = 0;
  int64_t rA1_DF = 0;
  int64_t rC2_DF = 0;
  int64_t rE0_EF = 0;
  int64_t rF0_FC = 0;
  int64_t rFD_FF = 0;
  int64_t rFF = 0;
};
ByteRanges count_byte_ranges(const char* text, size_t n);
// Adds to `r` the counts of `n` more bytes that the floor of a Shift_JIS text is held
// against: those of count_byte_ranges but that 0xF0 to 0xFF all count in rF0_FC, and
// r81_9F, rA1_DF, rFD_FF and rFF stay 0. Counted in pieces, a text has the counts of the
// whole.
void add_floor_ranges(const char* text, size_t n, ByteRanges* r);

// Whether guess_swept gives Shift_JIS for a text of `len` bytes swept as Shift_JIS whose
// own score is at least `floor`, from the counts of add_floor_ranges made as it was swept:
// the floor, against the bounds of guess_swept (a little looser where the text holds
// 0xFF), settles most such texts without the exact score. False says nothing.
bool sjis_floor_settles(const ByteRanges& counted, size_t len, long limit, int64_t floor);

// Code of the output text (which 0), of the thread list pages (1), of the tree pages (2).
int choose_code(Run& run, int which);

}  // namespace tz
