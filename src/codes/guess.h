// Guessing a text's kanji code, and choosing the code of an output.
#pragma once

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
// whose own score (as guess_code counts it; Shift_JIS before halving) is `own`. Bounds
// on the two other scores, from a count of the bytes, settle most texts at once; the
// others get the passes of guess_code.
int guess_swept(const char* text, long limit, int code, int64_t own);

// Code of the output text (which 0), of the thread list pages (1), of the tree pages (2).
int choose_code(Run& run, int which);

}  // namespace tz
