// The console and log line of one thread being converted.
#pragma once

namespace tz {

struct Run;

// Prints "source => output title:..." (cut to 79 columns on the console).
void progress_line(Run& run, int ow);

}  // namespace tz
