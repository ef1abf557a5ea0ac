// Telling a log's form from its head, and splitting log lines into fields.
#pragma once

#include <cstdint>

namespace tz {

struct Run;
struct Times;

// Decides whether src_path is a thread log and of which form. Result: sflg.kind
// (0 unknown form, 1 comma log, 2 <> log, 7 html log, 0xFD empty, 0xFF can't open).
// `file_date` (20 bytes) gets the file's date for /ts on file dates.
uint8_t identify_log(Run& run, char* file_date, Times& times);

// Splits the line at `line` in place into run.line; sets sflg.kind to its form.
void next_line(Run& run, char* line);
// The same where the buffer may be read up to `limit` (null: not known).
void next_line(Run& run, char* line, const char* limit);

// Separators of the line at `line`, not looking at or behind `end`.
int count_separators(const char* line, const char* end);

}  // namespace tz
