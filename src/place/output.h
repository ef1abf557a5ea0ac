// Where a thread's output goes, what it is called, and opening it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tz {

struct Run;
struct Times;

// Sets dst_path (and sflg.dfile_dir for /d) for the thread in hand.
void place_output(Run& run, const Times& times);
// Names the output (out_base, out_name; the pieces of /d). Non-zero: out of memory.
int make_name(Run& run, int n);
// The overwrite decision: result for sflg.ow.
int decide_overwrite(Run& run);
// Opens the output (run.out): 0 opened, 1 can't create, 2 folder can't be made, 5 no
// source date.
int open_output(Run& run, int n, int64_t* ftime);
// Opens `path` as the output in hand. False: errno tells why.
bool open_file_for(Run& run, const std::string& path);
bool output_is_open(const Run& run);
// Adds text to the output. False when writing it has failed.
bool append_output(Run& run, std::string_view text);
// Room for `n` bytes behind the text of the open output, to be written there and then
// counted by commit_output, which sends the block on when it is full (false when that
// has failed).
char* output_room(Run& run, size_t n);
bool commit_output(Run& run, size_t n);
// Closes the output once all of it is written; with `stamp` it takes `time` as its
// times. Its size goes into the totals of the run.
void close_output(Run& run, bool stamp, int64_t time);
// Waits until nothing converted or written behind is still to go into `path`.
void wait_for_output(Run& run, const std::string& path);
// Tells the outputs that the writer could not write whole.
void report_write_failures(Run& run);
// Waits until the writer has written everything, tells its failures and counts what it
// wrote into the totals.
void finish_writing(Run& run);
// Creates the folders of `path` behind the first root.size() bytes. 0, 1 failed, 255.
int make_dirs(Run& run, const std::string& path, const std::string& root);

}  // namespace tz
