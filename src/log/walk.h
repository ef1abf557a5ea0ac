// Finding the files to convert: the /s walk, a folder's sorted file list, the
// path selection file, the folder scan and the general depth-first walk.
#pragma once

#include <string>
#include <string_view>

namespace tz {

struct Run;
struct FindScan;
namespace os {
struct DirEntry;
}

// walk_next flag: folders count as results, and hidden folders are entered too.
constexpr int kWalkFolders = 1;

// Reads the path selection file of /s=:. 0 read, 1 can't open, 2 can't read, 3 invalid.
int read_selection_file(Run& run);

// Next folder of the /s walk with a matching file: 1 found (src_dir, src_path set),
// 0 the walk has ended.
int next_folder(Run& run);

// Makes the sorted file list of the folder of src_path (nothing for a single file).
void list_folder(Run& run, int single);

// Makes file n of the list current. 1 no more; 0 src_path, src_dir, src_file, src_base set.
int next_file(Run& run, int n);

// Next visible entry of the search path `search` (a folder and a name pattern): `folders` 0
// files, 1 folders, else both; `z_test` 1 keeps only /z names. False when the scan has
// ended or `finish` closed it; a call after the end starts the scan anew.
bool find_next(FindScan& scan, const std::string& search, int folders, int z_test, bool finish,
               os::DirEntry* entry);

// Depth-first search for names matching `pattern` from `start` (empty: resume). Result
// 0 a match in the folder where the call started, 1 after entering a folder (or, with
// kWalkFolders, a folder just entered), 2 after leaving one, 3 the walk has ended,
// 4 nothing to resume or a folder deeper than the stack.
int walk_next(Run& run, const std::string& start, std::string_view pattern, int flags,
              std::string* dir_out, std::string* name_out);

}  // namespace tz
