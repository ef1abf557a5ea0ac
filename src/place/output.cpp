#include "place/output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "codes/convert.h"
#include "common/byte_tables.h"
#include "common/strings.h"
#include "log/source.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/run.h"
#include "text/body.h"

namespace tz {

namespace {

constexpr size_t kPathCut = 255;
// A name made by /t is cut here, to leave room for the piece number, mark and extension.
constexpr size_t kNameCut = 236;
constexpr size_t kOutBlock = 1 << 18;  // most outputs go out in one write

void append_cut(std::string& to, std::string_view piece, size_t limit) {
  to.append(piece.substr(0, piece.size() < limit ? piece.size() : limit));
}

// The name of the n-th folder of `dir` from its end (1 = the last), "" if there is none.
std::string folder_from_end(const std::string& dir, int n) {
  std::string piece;
  if (path_piece(dir, &piece, n, 1) != 0) return std::string();
  return piece;
}

// A name out of thread text (Shift_JIS): blanks trimmed, bad characters replaced.
std::string clean_folder_name(const std::string& in, const std::string& out) {
  if (in.empty()) return out;
  size_t start = 0;
  while (start < in.size() && start < 255 && in[start] == ' ') ++start;
  std::string name = in.substr(start, 255);
  while (name.size() > 1 && name.back() == ' ') name.pop_back();
  for (size_t i = 0; i < name.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(name[i]);
    if (tbl::sjis[c] & tbl::kLead && !(tbl::sjis[c] & tbl::kSingle) && i + 1 < name.size()) {
      ++i;
      continue;
    }
    if (c && std::strchr(tbl::bad_name, c)) name[i] = '-';
  }
  clean_text(name, kSjis, 255);
  return name;
}

// Shift_JIS thread text as a piece of a path (the file-name code).
std::string path_text(const std::string& sjis) {
  return utf8_from_sjis(sjis);
}

// Cuts a name in the file-name code at `most` bytes, where a character begins: a
// Shift_JIS name that was cut to fit grows in UTF-8, and its piece number, mark and
// extension must still fit behind it.
void cut_path_text(std::string& name, size_t most) {
  if (name.size() <= most) return;
  size_t n = most;
  while (n > 0 && (static_cast<uint8_t>(name[n]) & 0xC0) == 0x80) --n;
  name.resize(n);
}

// Replaces each bad character of a name by '-' in its first `reach` bytes (Shift_JIS).
void replace_bad_chars(std::string& name, size_t reach) {
  for (size_t i = 0; i < name.size() && i < reach; ++i) {
    unsigned char c = static_cast<unsigned char>(name[i]);
    if ((tbl::sjis[c] & tbl::kLead) && !(tbl::sjis[c] & tbl::kSingle)) {
      ++i;
      continue;
    }
    if (c && std::strchr(tbl::bad_name, c)) name[i] = '-';
  }
}

// Key digits of the log's name: 1 a short key, 2 a long key, 0 none.
int key_kind(const std::string& file) {
  size_t digits = 0;
  while (digits < file.size() && digits < 256 && file[digits] >= '0' && file[digits] <= '9')
    ++digits;
  if (digits >= file.size() || file[digits] != '.') return 0;
  if (digits == 9 && file[0] == '9') return 1;
  if (digits == 10 && (file.compare(0, 3, "924") == 0 || file[0] == '1')) return 2;
  return 0;
}

std::string piece_format(int pieces, int i) {
  char buf[32];
  std::snprintf(buf, sizeof buf, pieces < 100 ? "_%02d" : pieces < 10000 ? "_%04d" : "_%05d", i);
  return buf;
}

// The widest running number printed for a "%<width>num%" token: wider than the name.
constexpr int kWidestNum = 512;

// Fills the widths of tokens such as "%05num%" with the running number.
void fill_num_widths(const Run& run, std::string& name, int n) {
  size_t from = 0;
  for (;;) {
    size_t at = name.find("num%", from);
    if (at == std::string::npos) return;
    size_t pct = at == 0 ? std::string::npos : name.rfind('%', at - 1);
    if (pct == std::string::npos) return;
    std::string token = name.substr(pct, at + 4 - pct);
    // The text behind the '%' goes into "%0<text>d": of it only the flags and the width
    // that a number format takes are used, as a title may put any text there. A width
    // above the room of the name gives the same name as the widest one kept here.
    std::string_view width = std::string_view(name).substr(pct + 1, at - pct - 1);
    size_t flags = width.find_first_not_of("-+ 0");
    if (flags == std::string_view::npos) flags = width.size();
    size_t digits = flags;
    int w = 0;
    while (digits < width.size() && width[digits] >= '0' && width[digits] <= '9') {
      if (w < kWidestNum) w = w * 10 + (width[digits] - '0');
      ++digits;
    }
    if (w > kWidestNum) w = kWidestNum;
    std::string format = "%0" + std::string(width.substr(0, flags));
    if (digits > flags) format += std::to_string(w);
    format += 'd';
    char number[kWidestNum + 16];
    std::snprintf(number, sizeof number, format.c_str(), n);
    replace_text(run, name, token, number, 256, kSjis, 1);
    from = at;
  }
}

}  // namespace

void place_output(Run& run, const Times& times) {
  const Cmdm& c = run.cmdm;
  Paths& p = run.paths;
  Sflg& f = run.sflg;
  if (c.st) return;
  std::string& dst = p.dst_path;
  if (c.a_str.empty() && !c.a_r) {
    p.out_sub.clear();
    if (!p.out_root.empty())
      dst = (c.a_c || !c.s) ? p.out_root : p.dst_mirror;
    else
      dst = (c.a_c || !c.s) ? p.src_arg_dir : p.src_dir;
  } else {
    bool deep = f.menu_tree + f.dat_tree != 0;
    std::string board_dir = folder_from_end(p.src_dir, deep ? 2 : 1);
    std::string server_dir = folder_from_end(p.src_dir, deep ? 3 : 2);
    const std::string& a = c.a_str;
    int key_form = a.find('F') != std::string::npos ? 2 : a.find('f') != std::string::npos ? 1 : 0;
    if (a.find('s') != std::string::npos && f.server.empty())
      f.server = server_dir.empty() ? "unknown" : server_dir;

    std::string key_text;
    std::string key_code;
    if (key_form) {
      bool kako = key_form == 2 && a[0] != 'F';
      std::string prefix = kako ? "kako/" : "";
      key_code = kako ? "k" : "";
      int key = key_kind(p.src_file);
      const std::string& b = p.src_base;
      if (key == 0) {
        key_text = prefix + (key_form == 1 ? "unknown/" : "unknown/unknown/");
        key_code += key_form == 1 ? "4" : "45";
      } else if (key == 1) {
        key_text = prefix + b.substr(0, 3) + "/";
        key_code += "3";
      } else {
        key_text = prefix + b.substr(0, 4) + "/";
        if (key_form == 2) key_text += b.substr(0, 5) + "/";
        key_code += key_form == 1 ? "4" : "45";
      }
    }
    std::string kind_text;
    if (a.find('B') != std::string::npos) {
      std::string kind = f.bbs_name;
      convert_code(run, kind, kCodeAuto, kSjis, 256);
      kind = clean_folder_name(kind, "");
      kind_text = (kind.empty() ? "unknown" : path_text(kind)) + "/";
    }
    std::string board_text;
    if (a.find_first_of("bn") != std::string::npos) {
      std::string board;
      if (a.find('n') != std::string::npos) {
        board = run.brd[0].name;
        convert_code(run, board, run.brd[0].name_code, kSjis, 256);
      } else {
        board = run.brd[0].dir;
      }
      board = clean_folder_name(board, "");
      board = board.empty() ? board_dir : path_text(board);
      board_text = (board.empty() ? "unknown" : board) + "/";
    }
    std::string date_text;
    if (a.find('d') != std::string::npos) {
      std::string first(times.first);
      bool unknown = first.empty() || first == "0000000000000000";
      date_text = (unknown ? std::string("unknown") : first.substr(0, 6)) + "/";
    }

    p.out_sub.clear();
    if (!c.a_r) {
      dst = p.out_root;
    } else {
      dst = p.dst_mirror;
      int extra = sep_pos(p.dst_mirror, -1) - sep_pos(p.out_root, -1);
      for (int i = 0; i < extra; ++i) p.out_sub += 'r';
    }
    for (char letter : a) {
      switch (letter) {
        case 'B':
          append_cut(dst, kind_text, kPathCut);
          p.out_sub += 'B';
          break;
        case 's':
          append_cut(dst, f.server, kPathCut - 1);
          dst += '/';
          p.out_sub += 's';
          break;
        case 'b':
        case 'n':
          append_cut(dst, board_text, kPathCut);
          p.out_sub += letter;
          break;
        case 'f':
        case 'F':
          append_cut(dst, key_text, kPathCut);
          p.out_sub += key_code;
          break;
        case 'd':
          append_cut(dst, date_text, kPathCut);
          p.out_sub += 'd';
          break;
      }
    }
  }
  // A split thread gets a folder of its own, named after its log.
  if (c.d && !c.a_c) {
    f.dfile_dir = sjis_path(p.src_base.substr(0, 1023));
    dst += p.src_base.substr(0, 1023) + "/";
  } else {
    f.dfile_dir.clear();
  }
}

int make_name(Run& run, int n) {
  const Cmdm& c = run.cmdm;
  Paths& p = run.paths;
  Sflg& f = run.sflg;
  std::string file = p.src_base;
  if (f.k_shitaraba == 3 && f.comma_sub != 0) {
    std::string lower = file;
    lower_case(lower, kUtf8);
    if (lower.size() >= 8 && lower.find_first_not_of("0123456789abcdef") >= 8) {
      f.key = static_cast<int32_t>(std::strtoul(lower.substr(0, 8).c_str(), nullptr, 16));
      if (lower.size() > 8) {
        std::string rest = lower.substr(8);
        for (char& ch : rest)
          if (ch < '0' || ch > '9') ch = ' ';
        char buf[64];
        std::snprintf(buf, sizeof buf, "%d_%d", f.key, std::atoi(rest.c_str()));
        file = buf;
      }
    }
  }
  std::string suffix;
  if (c.d) {
    int adj = (c.d == 100 || c.d == 200 || c.d == 250 || c.d == 500) && f.rescount > 1000 ? 3 : 0;
    f.pieces = (f.rescount - adj - 1) / c.d + 1;
    f.piece = 1;
    suffix = piece_format(f.pieces, 1);
  }
  std::string name = file;
  if (c.t) {
    // The name is composed in Shift_JIS, then made a name of the file system.
    name = c.t_fmt;
    std::string title = f.tname_sjis.substr(0, 511);
    clean_title(run, title, kSjis, kSjis, 11, 512);
    bool title_only = name == "%threadtitle%";
    replace_text(run, name, "%threadtitle%", title, 256, kSjis, 0);
    if (!title_only) {
      replace_text(run, name, "%num%", std::to_string(n), 256, kSjis, 0);
      replace_text(run, name, "%sfilename%", sjis_path(file), 256, kSjis, 0);
      replace_text(run, name, "%boarddirname%", run.brd[0].dir, 256, kSjis, 0);
      fill_num_widths(run, name, n);
    }
    replace_bad_chars(name, 200);
    if (name.size() > kNameCut) name.resize(kNameCut);
    clean_text(name, kSjis, 255);
    name = path_text(name);
    cut_path_text(name, kNameCut);
  }
  p.out_no = 0;  // numbers come from the index records of the output folder
  std::string mark = p.out_no ? "[" + std::to_string(p.out_no) + "]" : "";
  run.dfile_div.clear();
  if (c.d) {
    run.dfile_div.reserve(static_cast<size_t>(f.pieces));
    for (int i = 1; i <= f.pieces; ++i) {
      std::string piece = name + piece_format(f.pieces, i) + mark + p.out_ext;
      if (piece.size() > kPathCut) piece.resize(kPathCut);
      run.dfile_div.push_back(std::move(piece));
    }
  }
  p.out_base = name + suffix + mark;
  if (p.out_base.size() > kPathCut) p.out_base.resize(kPathCut);
  p.out_name = p.out_base + p.out_ext;
  if (p.out_name.size() > kPathCut) p.out_name.resize(kPathCut);
  return 0;
}

int decide_overwrite(Run& run) {
  const Cmdm& c = run.cmdm;
  Paths& p = run.paths;
  Batch& b = run.batch;
  int result = 0;
  bool unknown = false;
  os::FileInfo out;
  if (!o_no_receiver(c) && !c.st) {
    p.out_path = p.dst_path + p.out_name;
    if (p.out_path.size() > kPathCut) p.out_path.resize(kPathCut);
    const os::FileInfo* src_info = source_status(run);
    // An output of the same name still being written is looked at once it is whole.
    wait_for_output(run, p.out_path);
    bool out_ok = os::stat_path(p.out_path, &out);
    result = out_ok ? 1 : 0;
    if (src_info && out_ok && c.u != 0) {
      const os::FileInfo& src = *src_info;
      // Nothing is known of the earlier conversion without index records: the
      // output's own date and size stand for its source's.
      unknown = true;
      int64_t old_time = 0;
      int64_t old_size = 0;
      if (c.u == 3) {
        result = 2;
      } else {
        if (c.u == 2) {
          old_size = out.size;
          if (src.size <= old_size) result = 2;
        }
        if (result != 2) {
          old_time = out.mtime;
          if (src.mtime <= old_time) result = 2;
        }
      }
    }
  }
  if (unknown) {
    if (!b.warned && c.s && c.t) say(run, msg(run, Msg::no_index_info));
    b.warned = 1;
  }
  if (result == 0) return 0;
  if (result == 1) return 2;
  Msg word = c.u == 1 ? Msg::cond_time : c.u == 2 ? Msg::cond_size : Msg::cond_none;
  say(run, msg(run, Msg::no_overwrite), sjis_path(p.src_path).c_str(), msg(run, word));
  b.list_only = (c.i_others && unknown) ? 1 : 0;
  b.list_only_count += b.list_only;
  b.status = b.list_only ? 0 : 5;
  return b.list_only ? 3 : 4;
}

int open_output(Run& run, int n, int64_t* ftime) {
  const Cmdm& c = run.cmdm;
  Paths& p = run.paths;
  if (c.st) return 0;
  const bool dirs = !c.a_c && !p.out_root.empty() && ((c.s && n == 1) || c.a || c.d);
  if (dirs && make_dirs(run, p.dst_path, p.out_root) != 0) return 2;
  p.out_path = p.dst_path + p.out_name;
  int result = 0;
  if (const os::FileInfo* src = source_status(run))
    *ftime = src->mtime;
  else
    result = 5;
  // The folder known to stand may have gone since: it is made again, once.
  if (!open_file_for(run, p.out_path) && errno == ENOENT && !p.made_dir.empty()) {
    p.made_dir.clear();
    if (dirs && make_dirs(run, p.dst_path, p.out_root) != 0) return 2;
    open_file_for(run, p.out_path);
  }
  if (run.out.fd >= 0) return result;
  if (c.d) run.dfile_div.clear();
  return 1;
}

bool open_file_for(Run& run, const std::string& path) {
  // An output of the same name still being written is done first, or the two would mix.
  wait_for_output(run, path);
  OutputFile& out = run.out;
  out.fd = os::open_write(path);
  if (out.fd < 0) return false;
  out.path = path;
  out.bytes = 0;
  out.failed = false;
  out.block.clear();
  out.block.reserve(kOutBlock + kOutBlock / 4);
  return true;
}

bool output_is_open(const Run& run) {
  return run.out.fd >= 0;
}

namespace {

// Writes the block of the output here and now; with `last` closes the file and counts
// its size into the totals. False when not all of it could be written.
bool write_block_now(Run& run, bool last, bool stamp, int64_t time) {
  OutputFile& out = run.out;
  bool clean = os::write_all(out.fd, out.block.data(), out.block.size());
  out.block.clear();
  if (!last) return clean;
  clean = os::close_file(out.fd) && clean;
  out.fd = -1;
  if (stamp) os::set_file_times(out.path, time, time);
  out.failed = out.failed || !clean;
  os::FileInfo info;
  if (!out.failed)
    add_total(run.totals.wr_hi, run.totals.wr_lo, out.bytes);
  else if (os::stat_path(out.path, &info))
    add_total(run.totals.wr_hi, run.totals.wr_lo, info.size);
  return clean;
}

bool send_block(Run& run, bool last, bool stamp, int64_t time) {
  OutputFile& out = run.out;
  if (!run.writer) return write_block_now(run, last, stamp, time);
  run.writer->put(out.fd, out.path, out.block, last, stamp, time);
  if (last) out.fd = -1;
  return true;
}

}  // namespace

bool append_output(Run& run, std::string_view text) {
  OutputFile& out = run.out;
  if (out.fd < 0) return false;
  if (!text.empty()) std::memcpy(output_room(run, text.size()), text.data(), text.size());
  return commit_output(run, text.size());
}

char* output_room(Run& run, size_t n) {
  return run.out.block.room_for(n);
}

bool commit_output(Run& run, size_t n) {
  OutputFile& out = run.out;
  out.block.grow(n);
  out.bytes += static_cast<int64_t>(n);
  if (out.block.size() < kOutBlock) return true;
  bool clean = send_block(run, false, false, 0);
  out.failed = out.failed || !clean;
  return clean;
}

void close_output(Run& run, bool stamp, int64_t time) {
  if (run.out.fd < 0) return;
  send_block(run, true, stamp, time);
}

void wait_for_output(Run& run, const std::string& path) {
  if (run.behind) run.behind->wait_for(path);
  if (run.writer) run.writer->wait_for(path);
}

void finish_writing(Run& run) {
  if (run.behind) run.behind->drain();
  if (run.writer) run.writer->drain();
  report_write_failures(run);
  if (run.behind) run.behind->add_written(run.totals.wr_hi, run.totals.wr_lo);
  if (run.writer) run.writer->add_written(run.totals.wr_hi, run.totals.wr_lo);
}

void report_write_failures(Run& run) {
  std::vector<WriteFailure> failures;
  if (run.behind) failures = run.behind->take_failures();
  if (run.writer) {
    std::vector<WriteFailure> more = run.writer->take_failures();
    failures.insert(failures.end(), more.begin(), more.end());
  }
  for (const WriteFailure& failure : failures)
    say(run, msg(run, Msg::write_fail), sjis_path(failure.path).c_str());
}

int make_dirs(Run& run, const std::string& path, const std::string& root) {
  if (root.size() > 255) return 255;
  size_t pos = root.size();
  // Files of one folder come one after another: the deepest folder mostly stands, and
  // one try spares making each level again.
  size_t last = path.rfind(os::kSep);
  if (last != std::string::npos && last > pos) {
    if (std::string_view(path).substr(0, last) == run.paths.made_dir) return 0;
    if (os::make_dir(path.substr(0, last)) >= 0) {
      run.paths.made_dir.assign(path, 0, last);
      return 0;
    }
  }
  for (;;) {
    size_t sep = path.find(os::kSep, pos);
    if (sep == std::string::npos) break;
    std::string partial = path.substr(0, sep);
    if (!partial.empty() && os::make_dir(partial) < 0) {
      say(run, msg(run, Msg::mkdir_fail), sjis_path(partial).c_str());
      return 1;
    }
    pos = sep + 1;
  }
  if (last != std::string::npos && last >= root.size()) run.paths.made_dir.assign(path, 0, last);
  return 0;
}

}  // namespace tz
