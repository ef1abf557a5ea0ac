#include "log/walk.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "codes/convert.h"
#include "codes/guess.h"
#include "common/strings.h"
#include "log/name_match.h"
#include "run/fatal.h"
#include "run/run.h"

namespace tz {

namespace {

constexpr size_t kNameRoom = 255;  // a file name, an entry of the selection list
// Room of kListStep names in the pool: a name of this platform is at most 255 bytes.
constexpr size_t kPoolStep = kListStep * (kNameRoom + 1);

char ascii_lower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

// Paths are UTF-8, where no byte of a multibyte character is an ASCII letter.
std::string lower_ascii(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = ascii_lower(c);
  return out;
}

bool same_path(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (ascii_lower(a[i]) != ascii_lower(b[i])) return false;
  return true;
}

// Takes the last folder off a folder path that keeps its closing separator.
void drop_last_folder(std::string& dir) {
  if (dir.size() < 2) {
    dir.clear();
    return;
  }
  size_t prev = dir.rfind(os::kSep, dir.size() - 2);
  dir.resize(prev == std::string::npos ? 0 : prev + 1);
}

bool is_dot_entry(const std::string& name) {
  return name == "." || name == "..";
}

// /z: the names of thread keys, 9 digits from "9" or 10 digits from "1" (or "924"),
// followed by the extension.
bool z_name(std::string_view name) {
  size_t n = 0;
  while (n < name.size() && name[n] >= '0' && name[n] <= '9') ++n;
  if (n >= name.size() || name[n] != '.') return false;
  bool from924 = name.starts_with("924");
  return (n == 9 && (from924 || name[0] == '9')) || (n == 10 && (from924 || name[0] == '1'));
}

// Takes the next entry of a walk level, opening its folder first; an unreadable folder
// has no entries.
bool next_entry(WalkLevel& lv, os::DirEntry* e) {
  if (!lv.find.is_open() && !lv.find.open(lv.dir)) return false;
  return lv.find.next(e);
}

char selection_kind(const Run& run) {
  const WalkState& w = run.walk;
  if (run.cmdm.s_file.empty() || w.exdirlst.empty() || w.exdirlst[0].empty()) return 0;
  return w.exdirlst[0][0];
}

// 1 selected, 0 not selected but to be entered, -1 not to be entered.
int selection(const Run& run, char kind, const std::string& dir) {
  if (!kind) return 1;
  std::string low = lower_ascii(dir);
  bool found = std::any_of(run.walk.exdir_lower.begin(), run.walk.exdir_lower.end(),
                           [&](const std::string& part) { return low.find(part) != low.npos; });
  if (found) return kind == '-' ? -1 : 1;
  return kind == '+' ? 0 : 1;
}

void free_list(WalkState& w) {
  w.has_list = false;
  std::vector<char>().swap(w.names);
  std::vector<int64_t>().swap(w.pos);
}

// Shell sort of the offsets 1..n by the bytes of their names (gaps n/2, n/4, ..., 1).
void sort_list(WalkState& w, size_t n) {
  const char* pool = w.names.data();
  int64_t* a = w.pos.data() + 1;
  for (size_t gap = n / 2; gap > 0; gap /= 2) {
    for (size_t i = gap; i < n; ++i) {
      int64_t v = a[i];
      size_t j = i;
      for (; j >= gap && std::strcmp(pool + a[j - gap], pool + v) > 0; j -= gap) a[j] = a[j - gap];
      a[j] = v;
    }
  }
}

// One entry of the selection file from its line (without the line feed).
std::string selection_entry(std::string_view line) {
  // The byte before the line feed is taken for the carriage return, whatever it is.
  std::string entry(line.substr(1, std::min(line.size() - 2, kNameRoom)));
  if (!entry.empty() && entry.back() == '\r') entry.pop_back();
  size_t q = entry.find(" \"");
  if (q != std::string::npos) entry.erase(q, 2);
  entry.erase(std::remove(entry.begin(), entry.end(), '"'), entry.end());
  return entry;
}

}  // namespace

int read_selection_file(Run& run) {
  WalkState& w = run.walk;
  w.exdirlst.clear();
  w.exdir_lower.clear();
  std::FILE* fp = std::fopen((run.cmdm.exe_dir + run.cmdm.s_file).c_str(), "rb");
  if (!fp) fp = std::fopen(run.cmdm.s_file.c_str(), "rb");
  if (!fp) {
    run.last_err = errno;
    return 1;
  }
  std::vector<char> text;
  try {
    char block[65536];
    size_t got;
    while ((got = std::fread(block, 1, sizeof block, fp)) > 0)
      text.insert(text.end(), block, block + got);
    text.push_back('\0');
  } catch (const std::bad_alloc&) {
    fatal(run, msg(run, Msg::no_memory), 104);
  }
  int err = std::ferror(fp) ? errno : 0;
  std::fclose(fp);
  if (text.size() == 1) {
    run.last_err = err;
    return 2;
  }

  try {
    w.exdirlst.emplace_back();
  } catch (const std::bad_alloc&) {
    fatal(run, msg(run, Msg::no_memory), 105);
  }
  // The text is a string: a NUL byte ends it.
  std::string_view t(text.data());
  char kind = 0;
  for (char sign : {'+', '-'}) {
    if (!t.empty() && t[0] == sign)
      kind = sign;
    else if (t.find(std::string{'\n', sign}) != t.npos)
      kind = sign;
    if (kind) break;
  }
  if (!kind) return 3;
  w.exdirlst[0] = kind;

  // Entries are compared with paths, which are UTF-8 here; a file written in Shift_JIS
  // or EUC-JP is brought into it.
  int code = guess_code(text.data(), static_cast<long>(text.size()) + 1);
  size_t start = 0;
  size_t lf;
  // Text behind the last line feed is not read: the last entry needs its line end.
  while ((lf = t.find('\n', start)) != t.npos) {
    std::string_view line = t.substr(start, lf - start);
    start = lf + 1;
    if (line.empty() || line[0] != kind) continue;
    if (line.size() == 1 || (line.size() == 2 && line[1] == '\r')) continue;
    if (w.exdirlst.size() >= kSelectionSlots - 1) break;  // the last slot ends the list
    try {
      std::string entry = selection_entry(line);
      if (code == kSjis)
        entry = utf8_from_sjis(entry);
      else if (code == kEuc)
        convert_code(run, entry, kEuc, kUtf8, entry.size() * 2 + 1);
      w.exdir_lower.push_back(lower_ascii(entry));
      w.exdirlst.push_back(std::move(entry));
    } catch (const std::bad_alloc&) {
      fatal(run, msg(run, Msg::no_memory), 106);
    }
  }
  return 0;
}

int next_folder(Run& run) {
  WalkState& w = run.walk;
  Paths& p = run.paths;
  if (w.level < 0) return 0;
  const char kind = selection_kind(run);
  int selected = 1;
  os::DirEntry e;
  bool new_level = true;
  for (;;) {
    if (new_level) {
      p.src_path = p.src_dir + p.src_pat;
      w.levels[w.level].dir = p.src_dir;
      new_level = false;
    }
    WalkLevel& lv = w.levels[w.level];
    if (!next_entry(lv, &e)) {
      lv.find.close();
      lv.listed = false;
      if (--w.level < 0) return 0;
      p.src_dir = w.levels[w.level].dir;
      if (kind == '+') selected = 0;
      if (!p.out_root.empty()) drop_last_folder(p.dst_mirror);
      new_level = true;
      continue;
    }
    if (is_dot_entry(e.name)) continue;
    if (e.is_dir && !e.hidden) {
      // The stack is bounded: a folder deeper than it isn't entered.
      if (w.level + 1 >= kWalkLevels) continue;
      std::string dir = p.src_dir + e.name + os::kSep;
      int sel = selection(run, kind, dir);
      // The output root is never entered, so a run doesn't read its own output.
      if (sel == -1 || same_path(dir, p.out_root)) continue;
      p.src_dir = std::move(dir);
      ++w.level;
      w.levels[w.level].find.close();
      w.levels[w.level].listed = false;
      selected = sel;
      if (!p.out_root.empty()) p.dst_mirror += e.name + os::kSep;
      new_level = true;
      continue;
    }
    if (!e.is_dir && !e.is_file) continue;  // a link to a folder, a pipe: not for the walk
    if (!lv.listed && selected == 1 && name_matches(p.src_pat, e.name, run.cmdm.src_wild)) {
      lv.listed = true;
      return 1;
    }
  }
}

bool find_next(FindScan& scan, const std::string& search, int folders, int z_test, bool finish,
               os::DirEntry* entry) {
  entry->name.clear();
  if (finish) {
    scan.dir.close();
    scan.count = 0;
    return false;
  }
  for (;;) {
    if (!scan.dir.is_open() || scan.count == 0) {
      scan.dir.close();
      size_t sep = search.rfind(os::kSep);
      scan.pattern = sep == std::string::npos ? search : search.substr(sep + 1);
      std::string dir = sep == std::string::npos ? std::string() : search.substr(0, sep + 1);
      if (scan.pattern.empty() || !scan.dir.open(dir)) return false;
    }
    ++scan.count;
    if (!scan.dir.next(entry)) {
      scan.dir.close();
      scan.count = 0;
      entry->name.clear();
      return false;
    }
    if (is_dot_entry(entry->name)) continue;
    if (!entry->is_dir && !entry->is_file) continue;
    if (folders == 0 && entry->is_dir) continue;
    if (folders == 1 && !entry->is_dir) continue;
    if (entry->hidden) continue;
    if (!find_matches(scan.pattern, entry->name)) continue;
    if (z_test == 1 && !z_name(entry->name)) continue;
    return true;
  }
}

void list_folder(Run& run, int single) {
  if (!run.cmdm.s && single == 1) return;
  WalkState& w = run.walk;
  free_list(w);
  int fail_code = 101;
  try {
    w.names.reserve(kPoolStep);
    w.pos.reserve(kListStep + 2);
    fail_code = 102;
    w.pos.push_back(0);  // index 0 is not used
    FindScan scan;
    os::DirEntry e;
    size_t count = 0;
    while (find_next(scan, run.paths.src_path, 0, run.cmdm.z ? 1 : 0, false, &e)) {
      if (count > 0 && count % kListStep == 0) {
        w.names.reserve(w.names.capacity() + kPoolStep);
        w.pos.reserve(w.pos.capacity() + kListStep);
      }
      w.pos.push_back(static_cast<int64_t>(w.names.size()));
      w.names.insert(w.names.end(), e.name.begin(), e.name.end());
      w.names.push_back('\0');
      ++count;
    }
    w.pos.push_back(kListEnd);
    w.has_list = true;
    if (run.cmdm.i_sort != 'x') sort_list(w, count);
  } catch (const std::bad_alloc&) {
    fatal(run, msg(run, Msg::no_memory), fail_code);
  }
}

int next_file(Run& run, int n) {
  WalkState& w = run.walk;
  Paths& p = run.paths;
  if (w.has_list) {
    int64_t off = (n >= 1 && static_cast<size_t>(n) < w.pos.size()) ? w.pos[n] : kListEnd;
    if (off == kListEnd) {
      free_list(w);
      return 1;
    }
    assign_cut(p.src_file, w.names.data() + off, kNameRoom);
    // The list matched the name in any case; open the file by the name it has on disk.
    if (!run.cmdm.src_wild) p.src_path = p.src_dir + p.src_file;
  }
  if (run.cmdm.src_wild) {
    p.src_path = p.src_dir + p.src_file;
  } else {
    size_t sep = p.src_path.rfind(os::kSep);
    if (sep == std::string::npos || sep + 1 == p.src_path.size()) {
      p.src_file = p.src_path;
      p.src_dir.clear();
    } else {
      p.src_dir = p.src_path.substr(0, sep + 1);
      p.src_file = p.src_path.substr(sep + 1);
    }
  }
  size_t dot = p.src_file.rfind('.');
  p.src_base = dot == std::string::npos ? p.src_file : p.src_file.substr(0, dot);
  return 0;
}

int walk_next(Run& run, const std::string& start, std::string_view pattern, int flags,
              std::string* dir_out, std::string* name_out) {
  WalkState& w = run.walk;
  dir_out->clear();
  name_out->clear();
  if (!start.empty()) {
    for (WalkLevel& lv : w.gen) {
      lv.find.close();
      lv.listed = false;
    }
    w.gen_level = 0;
    w.gen[0].dir = start;
    if (start.back() != os::kSep) w.gen[0].dir += os::kSep;
  } else if (w.gen_level < 0) {
    return 4;
  }
  const bool all_folders = flags & kWalkFolders;
  int moved = 0;  // 0 still in the folder of the call, 1 entered one, 2 left one
  os::DirEntry e;
  for (;;) {
    WalkLevel& lv = w.gen[w.gen_level];
    if (!next_entry(lv, &e)) {
      lv.find.close();
      if (--w.gen_level < 0) return 3;
      moved = 2;
      continue;
    }
    if (is_dot_entry(e.name)) continue;
    if (e.is_dir && (all_folders || !e.hidden)) {
      if (w.gen_level + 1 >= kWalkLevels) return 4;
      WalkLevel& child = w.gen[++w.gen_level];
      child.find.close();
      child.dir = lv.dir + e.name + os::kSep;
      moved = 1;
      if (all_folders) {
        *dir_out = lv.dir;
        *name_out = e.name;
        return 1;
      }
      continue;
    }
    if (!e.is_dir && !e.is_file) continue;
    if (name_matches(pattern, e.name, true)) {
      *dir_out = lv.dir;
      *name_out = e.name;
      return moved;
    }
  }
}

}  // namespace tz
