// The whole log into memory: cleaned, brought into the output code, counted.
#pragma once

namespace tz {

struct Run;
struct Times;

// Result 0 done, 1 can't open, 2 out of memory, 3 read error, 4 empty file.
int read_log(Run& run);

// Brings posts left in Shift_JIS by read_log into UTF-8 (see LogBuffer::utf8_due), and
// finds their first and last lines again; nothing when none wait.
void bring_posts_into_utf8(Run& run);

// The dates of the first post, the last post and the last post without sage.
void take_dates(Run& run, Times& times);

}  // namespace tz
