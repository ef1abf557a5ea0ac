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

}  // namespace tz
