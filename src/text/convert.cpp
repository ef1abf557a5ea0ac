#include "text/convert.h"

#include <charconv>
#include <climits>
#include <cstdio>
#include <string>

#include "log/identify.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/progress.h"
#include "run/run.h"
#include "text/body.h"
#include "text/dates.h"
#include "text/head_foot.h"

namespace tz {

namespace {

constexpr size_t kNoteRoom = 255;                  // the omission note of a cut body
constexpr int64_t kEarliestWriteTime = 843264000;  // write times up to this are not trusted
constexpr int kNumberCap = INT_MAX / 2;            // a post number beyond this is no number

// The number at the head of a numbered log line, read as atoi would, kept in range.
int leading_number(const char* s) {
  if (!s) return 0;
  while (*s == ' ' || (*s >= '\t' && *s <= '\r')) ++s;
  bool neg = false;
  if (*s == '+' || *s == '-') neg = *s++ == '-';
  int64_t n = 0;
  while (*s >= '0' && *s <= '9') {
    n = n * 10 + (*s++ - '0');
    if (n > kNumberCap) n = kNumberCap;
  }
  return static_cast<int>(neg ? -n : n);
}

// The omission note with the number of lines left out, cut to its room.
void make_note(Run& run, int lines) {
  std::string& note = run.conv.note;
  note.assign(run.str.cut_note.view());
  size_t at = note.find("%d");
  if (at != std::string::npos) note.replace(at, 2, std::to_string(lines));
  if (note.size() > kNoteRoom) note.resize(kNoteRoom);
}

// Builds the block of the post in hand and writes it.
void write_post(Run& run, int post_no) {
  const Cmdm& cm = run.cmdm;
  const Stores& str = run.str;
  Post& post = run.post;
  std::string& b = run.conv.block;
  b.clear();
  char num[16];
  auto res = std::to_chars(num, num + sizeof num, post_no);
  b.append(num, res.ptr);
  b += ' ';
  b += m_name_label(cm) ? str.label_name.view() : str.label_name_off.view();
  b += post.name;
  b += ' ';
  if (!post.mail.empty()) {
    if (m_mail_direct(cm)) {
      b += '[';
      b += post.mail;
      b += "] ";
    } else {
      b += str.label_mail.view();
      b += post.mail;
      b += ' ';
    }
  } else if (m_mail_direct(cm)) {
    b += "[] ";
  }
  if (post.date_ok == 1 && m_weekday_mode(cm) != 0) recast_date(run);
  b += m_date_label(cm) ? str.label_date.view() : str.label_date_off.view();
  if (run.sflg.k_machi == 1) b += ' ';
  b += post.date;
  if (run.sflg.k_abroad == 2 && run.line.lang_tag) b += run.line.lang_tag;
  b += str.newline.view();
  b += str.body_indent.view();
  if (post.cut == std::string::npos) {
    b += post.body;
  } else {
    cut_body(post);
    b += post.body;
    make_note(run, post.cut_lines);
    b += run.conv.note;
  }
  b += str.newline.view();
  b += str.newline.view();
  write_text(run, b);
}

}  // namespace

int convert_thread(Run& run, int list_only, int tree_mode, const Times& times) {
  const Cmdm& cm = run.cmdm;
  Stores& str = run.str;
  if (list_only == 0) write_thread_head(run);

  // Standard output has no text mode here, so /st gets the break of a file and shows
  // the bytes of the file.
  set_slot(str.body_indent, cm.sp ? "      " : "");
  std::string brk(str.newline.view());
  brk += str.body_indent.view();
  set_slot(str.body_break, brk);

  int post_no = 0;
  bool want_title = true;
  char* cur = run.log.sfile.empty() ? nullptr : run.log.sfile.data() + run.log.log_first;
  LineFields& lf = run.line;
  for (;;) {
    if (want_title && list_only == 0) {
      want_title = false;
      if (!m_no_title(cm)) {
        std::string& t = run.conv.text;
        t.assign(run.sflg.tname);
        t += str.newline.view();
        t += str.newline.view();
        write_text(run, t);
      }
    }
    next_line(run, cur);
    if (lf.end_flag) break;
    if (run.sflg.subkind == 4) {
      // Numbered logs: a gap in the numbers is kept, a repeated number is not.
      int n = leading_number(lf.fields[0]);
      if (n > post_no + 1) post_no = n - 1;
      for (int i = 0; i < 6; ++i) lf.fields[i] = lf.fields[i + 1];
      lf.fields[6] = nullptr;
    }
    ++post_no;
    read_post(run);
    if (list_only == 1) {
      if (cm.i_first) make_excerpt(run, tree_mode);
      break;
    }
    const Post& post = run.post;
    if (lf.seps == 0 ||
        (post.name.empty() && post.mail.empty() && post.date.empty() && post.body.empty())) {
      if (post_no == 1 && cm.i_first) make_excerpt(run, tree_mode);
    } else {
      write_post(run, post_no);
      if (post_no == 1 && (cm.i_first || m_excerpt(cm) || tree_mode)) {
        make_excerpt(run, tree_mode);
      }
    }
    if (cm.d > 0) {
      int r = next_piece(run, post_no, times);
      if (r == 1) break;
      if (r == 0) want_title = true;
    }
    cur = lf.next;
  }
  if (list_only == 0 && run.sflg.pieces != -1) write_thread_foot(run);
  return post_no;
}

int next_piece(Run& run, int post_no, const Times& times) {
  (void)times;
  Sflg& f = run.sflg;
  const Cmdm& cm = run.cmdm;
  if (cm.d <= 0 || static_cast<int64_t>(post_no) != static_cast<int64_t>(f.piece) * cm.d ||
      f.piece >= f.pieces) {
    return 2;
  }
  write_thread_foot(run);
  if (!cm.st) {
    if (run.out_fp) std::fclose(run.out_fp);
    run.out_fp = nullptr;
    os::FileInfo info;
    if (!o_no_receiver(cm) && os::stat_path(run.paths.out_path, &info)) {
      add_total(run.totals.wr_hi, run.totals.wr_lo, info.size);
    }
    // The closed piece takes the source's time, whether or not /ct is given.
    if (os::stat_path(run.paths.src_path, &info)) {
      int64_t t = info.mtime <= kEarliestWriteTime ? info.birthtime : info.mtime;
      os::set_file_times(run.paths.out_path, t, t);
    }
  }
  ++f.piece;
  if (!cm.st) {
    size_t idx = static_cast<size_t>(f.piece - 1);
    std::string path = run.paths.dst_path;
    if (idx < run.dfile_div.size()) path += run.dfile_div[idx];
    if (path.size() > kPathRoom - 1) path.resize(kPathRoom - 1);
    run.paths.out_path = path;
    run.out_fp = idx < run.dfile_div.size() ? std::fopen(path.c_str(), "wb") : nullptr;
    if (!run.out_fp) {
      say(run, msg(run, Msg::create_fail), sjis_path(run.paths.out_name).c_str());
      run.dfile_div.clear();
      f.pieces = -1;
      return 1;
    }
    if (!run.out_buf.empty()) {
      std::setvbuf(run.out_fp, run.out_buf.data(), _IOFBF, run.out_buf.size());
    }
    progress_line(run, f.ow);
  }
  write_thread_head(run);
  return 0;
}

}  // namespace tz
