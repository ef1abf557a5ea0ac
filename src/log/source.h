// The source log of the file in hand. Its status is read once for all the steps of a
// file, and the descriptor that identification opens stays open, so that read_log reads
// on behind the head instead of opening the log and reading its head a second time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/os.h"

namespace tz {

struct Run;

struct SourceFile {
  std::string path;     // the log that the rest belongs to
  bool looked = false;  // its status has been asked for
  bool found = false;   // ... and could be read
  os::FileInfo info;
  int fd = -1;
  size_t have = 0;      // bytes of the log already at the start of the log buffer
  bool failed = false;  // reading them met an error
  int err = 0;          // ... with this error number
};

// The status of the source log (run.paths.src_path); nullptr when it can't be read,
// with errno set.
const os::FileInfo* source_status(Run& run);
// Opens the source log unless it is open already. False: errno tells why.
bool open_source(Run& run);
// Closes the descriptor; the status stays known for the rest of the file's steps.
void close_source(Run& run);
// Forgets all of it, for the next file.
void reset_source(Run& run);
// The time an output takes from its source: its time of writing, but its time of
// creation where the time of writing is too early to be trusted.
int64_t source_time(const os::FileInfo& info);

}  // namespace tz
