// The head block (board name, thread address) and the foot block (log size).
#pragma once

#include <string_view>

namespace tz {

struct Run;

// Writes the head block of the thread (an empty string when there is nothing to say).
void write_thread_head(Run& run);
// Writes the foot block (the log's size), with /m digit 2 bit 3 and without /st.
void write_thread_foot(Run& run);

// Writes a block of the thread text to the output, or to standard output under /st.
// Result false when the bytes could not be written.
bool write_text(Run& run, std::string_view text);

}  // namespace tz
