#include "run/driver.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "board/resolver.h"
#include "codes/convert.h"
#include "codes/guess.h"
#include "log/first_pass.h"
#include "log/identify.h"
#include "log/source.h"
#include "log/walk.h"
#include "place/output.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/fatal.h"
#include "run/progress.h"
#include "run/run.h"
#include "text/body.h"
#include "text/convert.h"

namespace tz {

namespace {

// The largest log text converted on the main thread when the converter is busy.
constexpr size_t kConvertHereMax = 1 << 20;

// What the driver keeps besides the batch record.
struct DriverState {
  int single = 0;
  int64_t start_time = 0;
  int64_t end_time = 0;
  std::string best_path;
  int best_flag = 0;
  std::string candidate_path;
  int candidate_flag = 0;
};

// A message with one number (its "%d"), formatted before it goes to say.
void say_number(Run& run, Msg m, int n) {
  char buf[1024];
  std::snprintf(buf, sizeof buf, msg(run, m), n);
  say(run, buf);
}

std::string total_text(int64_t hi, int64_t lo) {
  char buf[64];
  if (hi)
    std::snprintf(buf, sizeof buf, "%lld%09lld", static_cast<long long>(hi),
                  static_cast<long long>(lo));
  else
    std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(lo));
  return buf;
}

// The title from the first line of the log, where identification gave none.
void title_from_first_line(Run& run) {
  Sflg& f = run.sflg;
  if (!((f.tname_dat.empty() && f.tname_idx.empty()) || f.k_abroad == 1)) return;
  const ByteBlock& buf = run.log.sfile;
  if (buf.empty()) return;
  const char* text = buf.data();
  const char* lf = std::strchr(text, '\n');
  std::string_view line(text, lf ? static_cast<size_t>(lf - text) : std::strlen(text));
  std::string_view sep = line.find("<>") != std::string_view::npos ? "<>" : ",";
  size_t pos = 0;
  int found = 0;
  for (; found < 4; ++found) {
    size_t at = line.find(sep, pos);
    if (at == std::string_view::npos) break;
    pos = at + sep.size();
  }
  f.tname_dat.clear();
  if (found == 4) {
    std::string_view title = line.substr(pos);
    size_t next = title.find(sep);
    if (next != std::string_view::npos) title = title.substr(0, next);
    if (!title.empty() && title.back() == '\r') title.remove_suffix(1);
    if (title.size() > kTitleCut) title = title.substr(0, kTitleCut);
    f.tname_dat.assign(title);
  }
  // A line of one to three separators still empties the titles it would have set.
  if (found == 0) return;
  f.tname = f.tname_dat;
  f.tname_sjis = f.tname_dat;
  if (f.code_in > kSjis) convert_code(run, f.tname_sjis, f.code_in, kSjis, kTitleRoom);
}

void clear_thread(Run& run, Times& times) {
  Sflg& f = run.sflg;
  f.ow = 0;
  f.pieces = 0;
  f.tname.clear();
  f.tname_sjis.clear();
  f.tname_dat.clear();
  f.tname_idx.clear();
  f.fsize = 0;
  f.ftime = 0;
  f.code_in = 0;
  f.k_abroad = 0;
  run.log.log_first = 0;
  run.paths.out_no = 0;
  reset_source(run);
  times = Times{};
}

// Names the output and decides whether it may be written (steps 10 and 13).
bool name_and_decide(Run& run) {
  run.paths.out_no = 0;
  if (make_name(run, run.batch.folder_done + 1) != 0) fatal(run, msg(run, Msg::no_memory), 122);
  run.sflg.ow = static_cast<uint8_t>(decide_overwrite(run));
  return run.batch.status < 3;
}

// One thread log, from identification to the totals. Leaves batch.status.
void file_steps(Run& run, DriverState& ds) {
  Cmdm& c = run.cmdm;
  Sflg& f = run.sflg;
  Batch& b = run.batch;
  Paths& p = run.paths;
  Times times;
  char file_date[20] = {};
  clear_thread(run, times);
  report_write_failures(run);

  if (!o_no_log_check(c)) {
    f.kind = identify_log(run, file_date, times);
    if (f.kind == 0xFD) {
      say(run, msg(run, Msg::zero_byte), sjis_path(p.src_path).c_str());
      b.status = 4;
      return;
    }
    if (f.kind == 0xFF) {
      say(run, msg(run, Msg::open_fail), sjis_path(p.src_path).c_str());
      b.status = 2;
      return;
    }
    if (f.kind == 0) {
      say(run, msg(run, Msg::unknown_form), sjis_path(p.src_path).c_str());
      b.status = 4;
      return;
    }
    f.tname = f.tname_dat.substr(0, 8191);
  } else {
    f.kind = 2;
    int forced = o_forced_in(c);
    f.code_in = static_cast<uint8_t>(forced ? forced : kSjis);
  }
  // The date filter of /ts on the first date is not built yet.

  for (int slot = 0; slot <= 1; ++slot) {
    run.brd[slot].name.clear();
    run.brd[slot].url.clear();
    run.brd[slot].dir.clear();
  }
  resolve_board(run, b.first_in_folder);
  select_strings(run, 1);
  run.code_out = static_cast<uint8_t>(choose_code(run, 0));
  run.code_conv = run.code_out == f.code_in ? 0 : run.code_out;
  place_output(run, times);
  if (!c.d && !name_and_decide(run)) return;
  // The title query of /q is not built yet.

  switch (read_log(run)) {
    case 1:
      say(run, msg(run, Msg::open_fail_no), sjis_path(p.src_path).c_str(),
          std::to_string(run.last_err).c_str());
      b.status = 2;
      return;
    case 2:
      fatal(run, msg(run, Msg::no_memory), 121);
    case 3:
      say(run, msg(run, Msg::read_fail), sjis_path(p.src_path).c_str(),
          std::to_string(run.last_err).c_str());
      b.status = 2;
      return;
    case 4:
      say(run, msg(run, Msg::zero_byte), sjis_path(p.src_path).c_str());
      b.status = 2;
      return;
    default:
      break;
  }
  if (c.d && !name_and_decide(run)) return;
  if (o_no_log_check(c) || f.k_abroad == 1) title_from_first_line(run);
  select_strings(run, 2);
  clean_title(run, f.tname, f.code_in, run.code_conv ? run.code_conv : f.code_in, 11, kTitleCut);
  clean_title(run, f.tname_sjis, kSjis, kSjis, 11, kTitleCut);
  if (c.r_min != 0 && (f.rescount < c.r_min || f.rescount > c.r_max)) {
    b.status = 5;
    return;
  }
  if (f.kind != 7 && f.kind != 8) take_dates(run, times);
  // The date filter on the last date is not built yet.

  int ov = -1;
  if (!c.dst_null && !b.list_only) ov = open_output(run, b.folder_done + 1, &f.ftime);
  b.list_only = ov == -1 ? 1 : 0;
  switch (ov) {
    case 0:
      if (f.ow == 0) f.ow = 1;
      break;
    case 1:
      say(run, msg(run, Msg::create_fail), sjis_path(p.out_path).c_str());
      b.status = 3;
      return;
    case 2:
      say(run, msg(run, Msg::mkdir_fail), sjis_path(p.dst_path).c_str());
      b.status = 3;
      return;
    case 5:
      say(run, msg(run, Msg::no_date), sjis_path(p.out_path).c_str());
      break;
    default:
      break;
  }

  if (b.folder_done == 0) {
    if (b.first_run && c.l && c.v && !c.ck && !c.st) con_write(run, msg(run, Msg::working));
    report_board(run, b.first_run, b.first_in_folder);
    if (c.v_mode == 1) {
      ds.candidate_path = p.src_path;
      ds.candidate_flag = f.brd_ok;
    }
  }
  b.first_run = 0;
  b.first_in_folder = 0;

  bool show = !b.list_only || c.dst_null;
  bool convert = !c.dst_null && (!b.list_only || c.i_first);
  if (show) progress_line(run, f.ow);
  // A log the converter has no room for is converted here rather than waited for, when
  // it is small: this side's buffers then stay small.
  const bool wait_for_room = run.log.len > kConvertHereMax;
  if (convert && run.behind && ConvertBehind::takes(run) &&
      (wait_for_room || !run.behind->full())) {
    const os::FileInfo* src = c.ct ? source_status(run) : nullptr;
    run.behind->hand_over(run, src != nullptr, src ? source_time(*src) : 0);
  } else {
    if (convert) {
      bring_posts_into_utf8(run);
      convert_thread(run, b.list_only, 0, times);
      // Bringing the log into UTF-8 swaps its buffer with the work block. The larger of
      // the two stays the log buffer, so that this side holds one block as large as the
      // largest log, not two.
      if (run.conv_block.size() > run.log.sfile.size()) std::swap(run.conv_block, run.log.sfile);
    }
    if (!b.list_only) {
      if (f.pieces == -1) {
        b.status = 3;
        return;
      }
      if (!c.st) {
        const os::FileInfo* src = c.ct ? source_status(run) : nullptr;
        close_output(run, src != nullptr, src ? source_time(*src) : 0);
      }
    }
  }
  // The index record and the move of /mv are not built yet.
  if (c.d) run.dfile_div.clear();
  if (!b.list_only) {
    b.folder_done += 1;
    b.total_done += 1;
    say(run, "\n");
  } else if (c.dst_null) {
    say(run, "\n");
  }
  if (c.d) say(run, "\r\n");
}

void reset_folder(Run& run) {
  Batch& b = run.batch;
  b.folder_done = 0;
  b.file_no = 0;
  b.first_in_folder = 1;
  Sflg& f = run.sflg;
  f.brd_hit = 0;
  for (int slot = 2; slot <= 4; ++slot) {
    BoardSlot& s = run.brd[slot];
    if (!s.src.empty()) s.src_prev = s.src;
    s.src.clear();
    s.name.clear();
    s.url.clear();
    s.dir.clear();
  }
  f.thread_url.clear();
  f.server.clear();
  run.excerpt.clear();
  run.pos_1 = 0;
}

// Set-up before the loops; false ends the run at once with status 2.
bool set_up(Run& run, DriverState& ds) {
  Cmdm& c = run.cmdm;
  run.batch = Batch{};
  run.totals = Totals{};
  if (o_no_log_check(c) && c.q) {
    con_write(run, msg(run, Msg::q_vs_nocheck));
    wait_seconds(run, 3);
    return false;
  }
  ds.start_time = os::now_seconds();
  run.writer = std::make_unique<WriteBehind>();
  run.behind = std::make_unique<ConvertBehind>();
  select_strings(run, 0);
  open_log(run);
  // The title query (/q) and the date filter (/ts) are not built yet.
  if (c.r_min != 0) {
    char buf[256];
    if (c.r_max == kOpenEnd)
      std::snprintf(buf, sizeof buf, msg(run, Msg::r_filter_open), c.r_min);
    else
      std::snprintf(buf, sizeof buf, msg(run, Msg::r_filter), c.r_min, c.r_max);
    say(run, buf);
  }
  if (int forced = o_forced_in(c)) {
    char buf[256];
    std::snprintf(buf, sizeof buf, msg(run, Msg::code_in_forced), run.str.charset[forced]);
    say(run, buf);
  }
  if (int forced = m_forced_out(c)) {
    char buf[256];
    std::snprintf(buf, sizeof buf, msg(run, Msg::code_out_forced), run.str.charset[forced]);
    say(run, buf);
  }
  // The program's own board lists (2channel.brd, others.brd) are not read yet.
  if (!c.s_file.empty()) {
    switch (read_selection_file(run)) {
      case 0:
        say(run, msg(run, Msg::sfile_ok), sjis_path(c.s_file).c_str());
        break;
      case 1:
        say(run, msg(run, Msg::sfile_open), sjis_path(c.s_file).c_str(),
            std::to_string(run.last_err).c_str());
        c.s_file.clear();
        break;
      case 2:
        say(run, msg(run, Msg::read_fail), sjis_path(c.s_file).c_str(),
            std::to_string(run.last_err).c_str());
        c.s_file.clear();
        break;
      default:
        say(run, msg(run, Msg::sfile_invalid), sjis_path(c.s_file).c_str());
        c.s_file.clear();
        break;
    }
  }
  // Index building (/i) is not built yet.
  run.excerpt.clear();
  run.excerpt_made = true;
  if (!c.st) say(run, "\r\n");
  if ((c.v || c.i_html || c.i_tmp) && !c.st) say(run, msg(run, Msg::start));
  if (c.mv) {
    std::string where =
        c.mv_dst.empty() ? std::string(msg(run, Msg::mv_beside)) : sjis_path(c.mv_dst);
    say(run, msg(run, Msg::mv_plan), where.c_str());
  }
  if (c.v && c.s) con_write(run, msg(run, Msg::searching));
  return true;
}

void folder_loop(Run& run, DriverState& ds) {
  Cmdm& c = run.cmdm;
  Batch& b = run.batch;
  for (;;) {
    if (c.s) ds.single = 0;
    if (c.src_null) break;
    if (c.s && next_folder(run) == 0) break;
    list_folder(run, ds.single);
    reset_folder(run);
    for (;;) {
      b.file_no += 1;
      b.status = 0;
      b.list_only = 0;
      if (next_file(run, b.file_no) != 0) {
        ds.single = 1;
        break;
      }
      file_steps(run, ds);
      if (ds.single == 1) break;
    }
    b.folder_no += 1;
    reset_source(run);
    run.log.sfile.set_aside();
    run.conv_block.set_aside();
    run.log.len = 0;
    if (c.v_mode == 1 && b.folder_done > b.best_done) {
      b.best_done = b.folder_done;
      ds.best_path = ds.candidate_path;
      ds.best_flag = ds.candidate_flag;
    }
    // The folder's thread list (index without index.tmp) is not built yet.
    clear_kind_flags(run.sflg);
    if (c.s && (b.folder_done != 0 || c.dst_null)) say(run, "\r\n");
    if (!c.s) break;
  }
}

int finish(Run& run, DriverState& ds) {
  Cmdm& c = run.cmdm;
  Batch& b = run.batch;
  run.excerpt_made = false;
  finish_writing(run);
  // The tree pages and the rewrite of index.tmp are not built yet.
  ds.end_time = os::now_seconds();
  if ((c.s || c.src_wild || c.q) && b.index_pages + b.moved + b.total_done != 0) {
    say_number(run, Msg::index_count, b.index_pages);
    if (!c.src_null) say(run, msg(run, Msg::done_threads), std::to_string(b.total_done).c_str());
    if (b.mv_stopped)
      say(run, msg(run, Msg::mv_stopped));
    else if (b.moved)
      say(run, msg(run, Msg::moved), std::to_string(b.moved).c_str());
    if (b.total_done >= 1000 && !c.st) {
      if (!o_no_receiver(c)) {
        say(run, msg(run, Msg::total_read), total_text(run.totals.rd_hi, run.totals.rd_lo).c_str());
        say(run, msg(run, Msg::total_write),
            total_text(run.totals.wr_hi, run.totals.wr_lo).c_str());
      }
      say(run, msg(run, Msg::elapsed), std::to_string(ds.end_time - ds.start_time).c_str());
    }
  }
  if (c.l && run.log_fp) {
    std::fclose(run.log_fp);
    run.log_fp = nullptr;
  }
  int status;
  if (b.total_done != 0) {
    if (c.v) say(run, msg(run, Msg::finished));
    status = 0;
  } else {
    status = 2;
    if (c.v || c.s || c.src_wild) {
      if (!c.src_null && !c.dst_null)
        say(run, msg(run, Msg::no_target));
      else if (!c.mv && !c.src_null)
        say(run, msg(run, Msg::zero_converted));
    }
  }
  b.status = static_cast<uint8_t>(status);
  leave_run(run, ds.best_path, ds.best_flag, status);
  if (run.log_fp) {
    std::fclose(run.log_fp);
    run.log_fp = nullptr;
  }
  return status;
}

}  // namespace

void init_run(Run& run) {
  init_stores(run);
  run.con_code = os::locale_code();
  run.post.name.reserve(kFieldRoom);
  run.post.mail.reserve(kFieldRoom);
  run.post.date.reserve(kFieldRoom);
  run.post.body.reserve(kFieldRoom);
}

int run_batch(Run& run, int single) {
  DriverState ds;
  ds.single = single;
  if (!set_up(run, ds)) return 2;
  folder_loop(run, ds);
  return finish(run, ds);
}

}  // namespace tz
