// Where a thread's output goes, what it is called, and opening it.
#pragma once

#include <cstdint>
#include <string>

namespace tz {

struct Run;
struct Times;

// Sets dst_path (and sflg.dfile_dir for /d) for the thread in hand.
void place_output(Run& run, const Times& times);
// Names the output (out_base, out_name; the pieces of /d). Non-zero: out of memory.
int make_name(Run& run, int n);
// The overwrite decision: result for sflg.ow.
int decide_overwrite(Run& run);
// Opens out_fp: 0 opened, 1 can't create, 2 folder can't be made, 5 no source date.
int open_output(Run& run, int n, int64_t* ftime);
// Creates the folders of `path` behind the first root.size() bytes. 0, 1 failed, 255.
int make_dirs(Run& run, const std::string& path, const std::string& root);

}  // namespace tz
