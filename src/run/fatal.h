// Stops of the run on a failure of the program's own resources.
#pragma once

namespace tz {

struct Run;

// Prints `message` and "強制終了します。(code)", waits 5 seconds, exits with status 6.
[[noreturn]] void fatal(Run& run, const char* message, const char* code);
// The same with a numbered code.
[[noreturn]] void fatal(Run& run, const char* message, int code);

// The pause of the program: n seconds (skipped when run.waits is off).
void wait_seconds(Run& run, int n);

}  // namespace tz
