#include "run/progress.h"

#include <string>

#include "codes/convert.h"
#include "run/console.h"
#include "run/run.h"
#include "text/body.h"

namespace tz {

namespace {

constexpr size_t kLineCut = 511;
constexpr size_t kConsoleColumns = 79;
constexpr size_t kTitleFits = 70;

// The thread's title in `target` code for one channel.
std::string channel_title(Run& run, int target) {
  const Sflg& f = run.sflg;
  const std::string& src = f.tname_dat.empty() ? f.tname_idx : f.tname_dat;
  std::string title = src.substr(0, src.size() < 7999 ? src.size() : 7999);
  clean_title(run, title, f.code_in, target, 11, 8000);
  return title;
}

}  // namespace

void progress_line(Run& run, int ow) {
  const Cmdm& c = run.cmdm;
  if (c.st) return;
  const Paths& p = run.paths;
  std::string src = sjis_path(p.src_file);
  std::string line;
  if (c.dst_null) {
    line = src;
  } else if (c.d) {
    line = src + " " + msg(run, Msg::split_mark);
  } else {
    const char* arrow = m_line_limit(c) ? " -> " : " => ";
    line = src + arrow + sjis_path(p.out_name);
  }
  if (line.size() > kLineCut) line.resize(kLineCut);
  size_t len = line.size();
  std::string con_line = line;
  std::string log_line = line;
  std::string con_title;
  std::string log_title;

  if (c.t_fmt.find("%threadtitle%") == std::string::npos || c.d) {
    const std::string mark = msg(run, Msg::title_mark);
    int con_target = run.con_code ? run.con_code : kSjis;
    con_title = channel_title(run, con_target);
    convert_code(run, con_line, kSjis, con_target, 512);
    if (mark.size() + len <= kTitleFits) {
      con_line += mark;
      size_t room = kConsoleColumns - (mark.size() + len);
      if (con_title.size() > room) con_title.resize(room);
    } else {
      con_title.clear();
    }
    // A cut must not leave half a character on the screen.
    clean_text(con_title, con_target, con_title.size());
    if (c.conmode != 1) {
      int log_target = c.l_code ? static_cast<int>(c.l_code) : static_cast<int>(kSjis);
      log_title = channel_title(run, log_target);
      convert_code(run, log_line, kSjis, log_target, 512);
      log_line += mark;
    }
  }
  if (ow == 2) say(run, msg(run, Msg::exists), sjis_path(p.out_name).c_str());
  if (c.d && run.sflg.piece > 1) {
    say(run, "\r\n%s",
        sjis_path(run.dfile_div.empty() ? "" : run.dfile_div[run.sflg.piece - 1]).c_str());
    return;
  }
  switch (c.conmode) {
    case 0:
      run.cmdm.conmode = 2;
      say(run, "%s%s\r", log_line.c_str(), log_title.c_str());
      run.cmdm.conmode = 1;
      say(run, "%s%s", con_line.c_str(), con_title.c_str());
      run.cmdm.conmode = 0;
      break;
    case 1:
      say(run, "%s%s", con_line.c_str(), con_title.c_str());
      break;
    default:
      say(run, "%s%s\r", log_line.c_str(), log_title.c_str());
      break;
  }
  if (c.d) say(run, "\r\n%s", sjis_path(run.dfile_div.empty() ? "" : run.dfile_div[0]).c_str());
}

}  // namespace tz
