#include "cmdline/paths.h"

#include <string_view>

#include "common/strings.h"
#include "log/name_match.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/run.h"
#include "run/stores.h"

namespace tz {

namespace {

constexpr size_t kPathCut = kPathRoom - 1;

void replace_first(std::string& path, std::string_view var, const std::string& value) {
  if (value.empty()) return;  // a value that can't be had leaves its variable
  size_t at = path.find(var);
  if (at != std::string::npos) path.replace(at, var.size(), value);
}

std::string temp_dir() {
  std::string dir = os::env("TEMP");
  if (dir.empty()) dir = os::env("TMPDIR");
  if (dir.empty()) dir = "/tmp";
  if (dir.back() != os::kSep) dir += os::kSep;
  return dir;
}

void add_closing_sep(std::string& path) {
  if (path.back() != os::kSep) path += os::kSep;
  if (path.size() > kPathCut) path.resize(kPathCut);
}

// A quoted argument loses its first and its last character.
void unquote(std::string& path) {
  if (path.empty() || path.front() != '"') return;
  path.erase(0, 1);
  if (!path.empty()) path.pop_back();
}

// "/./" and "/../" go, the latter with the folder before it; the root stays.
void remove_dot_folders(std::string& path) {
  size_t at;
  while ((at = path.find("/./")) != std::string::npos) path.erase(at + 1, 2);
  while ((at = path.find("/../", 1)) != std::string::npos) {
    size_t prev = path.rfind(os::kSep, at - 1);
    path.erase(prev + 1, at + 4 - (prev + 1));
  }
}

// The source as a full path. A name of one or two characters ("a", "*") stays as it is.
void make_absolute(std::string& path) {
  if (path.front() != os::kSep) {
    std::string cwd = os::current_dir();
    if (cwd.empty()) return;
    if (cwd.back() != os::kSep) cwd += os::kSep;
    path.insert(0, cwd);
  }
  remove_dot_folders(path);
  if (path.size() > kPathCut) path.resize(kPathCut);
}

std::string folder_part(const std::string& path) {
  size_t sep = path.rfind(os::kSep);
  return sep == std::string::npos ? std::string() : path.substr(0, sep + 1);
}

}  // namespace

void expand_folder_vars(std::string& path) {
  if (path.empty() || path.front() != '%') return;
  replace_first(path, "%desktop%", os::user_dir("DESKTOP"));
  replace_first(path, "%personal%", os::user_dir("DOCUMENTS"));
  replace_first(path, "%temp%", temp_dir());
  if (path.size() > kPathCut) path.resize(kPathCut);
}

bool check_path(Run& run, const std::string& path, std::string* name_out, int mode) {
  bool found = false;
  std::string name;
  if (!path.empty() && path.back() == os::kSep) {
    // A folder counts as found whether or not it holds anything; its own entry comes
    // first in a lookup of its contents.
    os::FileInfo info;
    found = os::stat_path(path, &info) && info.is_dir;
    name.assign(1, '.');
  } else {
    std::string dir = folder_part(path);
    std::string_view pattern = std::string_view(path).substr(dir.size());
    os::DirReader reader;
    os::DirEntry entry;
    if (reader.open(dir)) {
      // The folder's own entry comes first in the system's find: "*" and "*.*" find it
      // even in a folder with nothing else, and it is the name they give.
      if (find_matches(pattern, ".")) {
        found = true;
        name.assign(1, '.');
      }
      while (!found && reader.next(&entry)) {
        if (entry.name == "." || entry.name == "..") continue;
        // A pipe or a device is no log, and opening a pipe would wait for a writer
        // for ever.
        if (!entry.is_dir && !entry.is_file) continue;
        // The system's find: what it finds, the folder's file list takes too.
        if (!find_matches(pattern, entry.name)) continue;
        found = true;
        name = entry.name;
        break;
      }
    }
  }
  if (found) {
    if (name_out) assign_cut(*name_out, name, kPathCut);
    return false;
  }
  if (mode == 1 || mode == 3)
    con_print(run, msg(run, Msg::no_dir), sjis_path(path).c_str());
  else if (mode == 2)
    con_print(run, msg(run, Msg::no_input), sjis_path(path).c_str());
  return true;
}

int resolve_paths(Run& run) {
  Cmdm& c = run.cmdm;
  Paths& p = run.paths;
  if (!c.i) c.i_one = 0;
  unquote(p.src_path);
  unquote(p.dst_path);
  expand_folder_vars(p.src_path);
  expand_folder_vars(p.dst_path);
  if (p.src_path.size() >= 3 && !c.src_null) make_absolute(p.src_path);

  if (p.dst_path.empty() && !c.dst_null && !c.c) p.dst_path = folder_part(p.src_path);
  if (c.c && !c.dst_null) assign_cut(p.dst_path, os::current_dir(), kPathCut);
  if (!p.dst_path.empty() && !c.dst_null) {
    add_closing_sep(p.dst_path);
    if (check_path(run, p.dst_path, nullptr, 1)) return 2;
  }
  if (c.src_null) return 1;
  if (p.src_path.empty()) {
    con_print(run, "%s", msg(run, Msg::no_file_name));
    return 2;
  }
  if (p.src_path.back() != os::kSep) p.src_dir = folder_part(p.src_path);

  int result = 0;
  if (!c.s) {
    if (check_path(run, p.src_path, &p.src_file, 2)) return 2;
    result = c.src_wild ? 0 : 1;
    // A named file is found without regard to case; open it under the name it has, as
    // a case-blind file system would.
    if (!c.src_wild && !p.src_dir.empty() &&
        p.src_path.compare(p.src_dir.size(), std::string::npos, p.src_file) != 0)
      p.src_path = p.src_dir + p.src_file;
  } else if (check_path(run, p.src_dir, &p.src_file, 3)) {
    return 2;
  }
  if (c.mv) {
    c.mv_dst = c.mv_path;
    expand_folder_vars(c.mv_dst);
  }
  return result;
}

void split_paths(Run& run) {
  const Cmdm& c = run.cmdm;
  Paths& p = run.paths;
  if (!c.src_null) p.src_arg_dir = p.src_dir;
  if (!c.dst_null) p.out_root = p.dst_mirror = p.dst_path;
  if (c.dst_null && !c.mv_dst.empty()) {
    p.out_root = c.mv_dst;
    add_closing_sep(p.out_root);
    p.dst_mirror = p.out_root;
  }
  if (!c.src_null) p.src_pat = p.src_path.substr(folder_part(p.src_path).size());
}

}  // namespace tz
