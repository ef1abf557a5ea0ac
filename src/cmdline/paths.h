// The two positional arguments into the working paths.
#pragma once

#include <string>

namespace tz {

struct Run;

// 0 a list is to be walked, 1 one named file or an index-only run, 2 refused.
int resolve_paths(Run& run);
// Fills src_arg_dir, out_root, dst_mirror, src_pat.
void split_paths(Run& run);
// Expands %desktop%, %personal%, %temp% at the head of `path`.
void expand_folder_vars(std::string& path);
// Looks for a folder (a path with a closing separator) or for the first entry that a
// file name or pattern finds; `name_out` receives that entry's name. `mode` picks the
// message: 0 none, 1 destination folder, 2 input file, 3 source folder. True: not found.
bool check_path(Run& run, const std::string& path, std::string* name_out, int mode);

}  // namespace tz
