#include "board/resolver.h"

#include "run/console.h"
#include "run/run.h"

namespace tz {

namespace {

// The kind that /f forces, applied before the classification.
void apply_forced_kind(Run& run) {
  Sflg& f = run.sflg;
  char k = run.cmdm.f;
  if (k < '1' || k > 'x') return;
  if (f.k_machi == 0 && f.k_shitaraba == 0) clear_kind_flags(f);
  switch (k) {
    case '1':
      f.k_2ch = 1;
      break;
    case '2':
      f.k_pink = 1;
      break;
    case '3':
      f.k_be = 1;
      break;
    case '4':
      if (!f.k_machi) f.k_machi = 1;
      break;
    case '5':
      f.k_milkcafe = 1;
      break;
    case '6':
      if (!f.k_shitaraba) f.k_shitaraba = 1;
      break;
    case '7':
      f.k_abroad = 2;
      if (!m_forced_out(run.cmdm)) run.code_out = kUtf8;
      break;
    case '8':
      f.k_abroad = 1;
      f.code_in = kBig5;
      run.code_out = kBig5;
      break;
    case 'a':
      f.k_free = 1;
      break;
    case 'b':
      f.k_jbbs2 = 1;
      break;
    case 'x':
      f.k_none = 1;
      break;
    default:
      break;
  }
}

// Each field of the merged slot comes from the source of highest priority that has it.
void merge(Run& run, int first_in_folder) {
  if (run.best_pos == 0) run.best_pos = 5;
  int win = 0;
  int slot_at[5] = {};
  int priority = o_priority(run.cmdm);
  BoardSlot& out = run.brd[0];
  for (int pos = 4; pos >= 1; --pos) {
    int slot = ((priority >> ((4 - pos) * 2)) & 3) + 1;
    slot_at[pos] = slot;
    const BoardSlot& in = run.brd[slot];
    if (!in.url.empty()) out.url = in.url.substr(0, 255);
    if (!in.dir.empty()) out.dir = in.dir.substr(0, 255);
    if (!in.name.empty()) {
      out.name = in.name.substr(0, 255);
      out.name_code = 1;
    }
    if (!in.url.empty() || !in.dir.empty() || !in.name.empty()) win = pos;
  }
  Sflg& f = run.sflg;
  f.brd_ok = !out.url.empty() && !out.dir.empty();
  if (first_in_folder) {
    f.brd_pos = static_cast<uint8_t>(win < run.best_pos ? win : 0);
    run.best_pos = win;
    f.brd_src = static_cast<uint8_t>(win ? slot_at[win] : 0);
  }
}

bool any_kind(const Sflg& f) {
  return f.k_2ch || f.k_pink || f.k_be || f.k_machi || f.k_milkcafe || f.k_shitaraba || f.k_lv3 ||
         f.k_free || f.k_jbbs2 || f.k_other || f.k_abroad;
}

}  // namespace

int resolve_board(Run& run, int first_in_folder) {
  // The sources (side files, the browsers' board files, the program's board lists)
  // are not read yet: their slots stay empty and the merge finds no board.
  merge(run, first_in_folder);
  apply_forced_kind(run);
  if (!any_kind(run.sflg)) run.sflg.k_none = 1;
  return 0;
}

void report_board(Run& run, int first_run, int first_in_folder) {
  (void)first_run;
  if (!first_in_folder) return;
  Sflg& f = run.sflg;
  if (f.brd_pos || f.brd_src) {
    if (f.brd_src == 1) {
      if (f.brd_pos) {
        std::string line = msg(run, Msg::idx_used);
        if (f.idx_found == 2) line.replace(line.find("idx"), 3, "inf");
        say(run, line.c_str());
      }
    } else if (f.brd_src) {
      const BoardSlot& slot = run.brd[f.brd_src];
      if (!slot.src.empty() && slot.src != slot.src_prev)
        say(run, msg(run, Msg::board_from), sjis_path(slot.src).c_str());
    }
  }
  const BoardSlot& b = run.brd[0];
  if (f.brd_ok && !b.name.empty()) {
    if (!f.k_machi) say(run, msg(run, Msg::board_name), b.name.c_str());
  }
  if (run.cmdm.s) say(run, msg(run, Msg::folder_line), sjis_path(run.paths.src_dir).c_str());
}

}  // namespace tz
