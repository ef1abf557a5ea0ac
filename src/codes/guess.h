// Guessing a text's kanji code, and choosing the code of an output.
#pragma once

namespace tz {

struct Run;

// Scores the NUL-ended `text` as Shift_JIS, EUC-JP and UTF-8 over at most limit - 2
// bytes. Result 1, 2, 3, or 0 for a tie of EUC-JP and UTF-8 ahead of Shift_JIS.
int guess_code(const char* text, long limit);

// Code of the output text (which 0), of the thread list pages (1), of the tree pages (2).
int choose_code(Run& run, int which);

}  // namespace tz
