// The batch driver: the one place that knows the order of the work of a run.
#pragma once

namespace tz {

struct Run;

// Prepares a fresh run: the string stores, the tables, the console's code.
void init_run(Run& run);

// Runs the set-up, the folder loop with the file steps, and the end of the run.
// `single` 1: the source is one named file. Result: the exit status.
int run_batch(Run& run, int single);

}  // namespace tz
