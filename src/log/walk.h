// Finding the files to convert: the /s walk, a folder's sorted file list, the
// path selection file, and the name test.
#pragma once

#include <string>
#include <string_view>

namespace tz {

struct Run;

// Reads the path selection file of /s=:. 0 read, 1 can't open, 2 can't read, 3 invalid.
int read_selection_file(Run& run);

// Next folder of the /s walk with a matching file: 1 found (src_dir, src_path set),
// 0 the walk has ended.
int next_folder(Run& run);

// Makes the sorted file list of the folder of src_path (nothing for a single file).
void list_folder(Run& run, int single);

// Makes file n of the list current. 1 no more; 0 src_path, src_dir, src_file, src_base set.
int next_file(Run& run, int n);

}  // namespace tz
