// State of the folder walk and of a folder's file list.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/os.h"

namespace tz {

constexpr int kWalkLevels = 125;           // levels of a walk stack; deeper folders aren't entered
constexpr int64_t kListEnd = -999;         // the offset behind the last name of a file list
constexpr size_t kListStep = 1000;         // names between two enlargements of the file list
constexpr size_t kSelectionSlots = 10000;  // slots of the selection list, the closing one included

// A scan of one folder by find_next: the open folder, and the entries taken since it was
// opened (0 opens it anew).
struct FindScan {
  os::DirReader dir;
  int count = 0;
  std::string pattern;  // the name part of the search path
};

// One level of a walk stack: the folder, its scan (closed = not yet opened), and whether
// the folder was already handed to the driver.
struct WalkLevel {
  std::string dir;
  os::DirReader find;
  bool listed = false;
};

struct WalkState {
  // The /s walk of next_folder. `level` goes on from call to call; below 0 the walk has ended.
  std::array<WalkLevel, kWalkLevels> levels;
  int level = 0;

  // The general walk of walk_next; -1 = nothing to resume.
  std::array<WalkLevel, kWalkLevels> gen;
  int gen_level = -1;

  // The file list of a folder (buffer.sfile_np, buffer.sfile_pos): names one behind the
  // other, NUL-ended, and their offsets from index 1, closed by kListEnd.
  bool has_list = false;
  std::vector<char> names;
  std::vector<int64_t> pos;

  // The selection list (buffer.exdirlst): entry 0 "+", "-" or "", then the folder name
  // parts as read; `exdir_lower` holds the parts in lower case for the walk's test.
  std::vector<std::string> exdirlst;
  std::vector<std::string> exdir_lower;
};

}  // namespace tz
