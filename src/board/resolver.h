// Board information of a log: gathered from the sources, merged, reported.
#pragma once

namespace tz {

struct Run;

int resolve_board(Run& run, int first_in_folder);
void report_board(Run& run, int first_run, int first_in_folder);

}  // namespace tz
