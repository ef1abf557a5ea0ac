// The head block (board name, thread address) and the foot block (log size).
#pragma once

namespace tz {

struct Run;

void write_thread_head(Run& run);
void write_thread_foot(Run& run);

}  // namespace tz
