#include "text/convert.h"

#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "common/byte_search.h"
#include "log/identify.h"
#include "log/source.h"
#include "place/output.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/progress.h"
#include "run/run.h"
#include "text/body.h"
#include "text/dates.h"
#include "text/head_foot.h"

namespace tz {

namespace {

constexpr size_t kNoteRoom = 255;        // the omission note of a cut body
constexpr int kNumberCap = INT_MAX / 2;  // a post number beyond this is no number
// Post blocks are written when this much waits: a few KB already spread the cost of a
// write thin, and stdio gathers the pieces in the file's buffer.
constexpr size_t kPostBatch = 3072;

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

// A piece of a post block that stays the same through a thread. One of up to 16 bytes
// goes in with one move of 16; the room of the block is kept that much larger.
struct Piece {
  char text[16] = {};
  size_t size = 0;
  std::string longer;  // the text when it is longer

  Piece& operator=(std::string s) {
    size = s.size();
    if (size <= sizeof text) {
      std::memcpy(text, s.data(), size);
    } else {
      longer = std::move(s);
    }
    return *this;
  }
};

// The pieces of a post block that stay the same through a thread, joined where they
// stand side by side.
struct Layout {
  Piece before_name;  // blank, name label
  Piece mail_open;    // what stands between the name and a mail
  Piece mail_close;   // what follows a mail
  Piece no_mail;      // what stands between the name and the date label without one
  Piece before_date;  // date label, the blank of a machi board
  Piece before_body;  // line end, indent
  Piece after_body;   // two line ends
  bool lang_tag;      // the language of the line behind the date
  bool recast;        // the date is recast by /m digit 2 bits 1,2
};

std::string join(std::string_view a, std::string_view b) {
  std::string s;
  s.reserve(a.size() + b.size());
  s.append(a);
  s.append(b);
  return s;
}

Layout make_layout(const Run& run) {
  const Cmdm& cm = run.cmdm;
  const Stores& str = run.str;
  Layout lay;
  lay.before_name = join(" ", m_name_label(cm) ? str.label_name.view() : str.label_name_off.view());
  if (m_mail_direct(cm)) {
    lay.mail_open = std::string(" [");
    lay.mail_close = std::string("] ");
    lay.no_mail = std::string(" [] ");
  } else {
    lay.mail_open = join(" ", str.label_mail.view());
    lay.mail_close = std::string(" ");
    lay.no_mail = std::string(" ");
  }
  lay.before_date = join(m_date_label(cm) ? str.label_date.view() : str.label_date_off.view(),
                         run.sflg.k_machi == 1 ? " " : "");
  lay.before_body = join(str.newline.view(), str.body_indent.view());
  lay.after_body = join(str.newline.view(), str.newline.view());
  lay.lang_tag = run.sflg.k_abroad == 2;
  lay.recast = m_weekday_mode(cm) != 0;
  return lay;
}

// Room for `need` more bytes behind the post blocks waiting in `cs`; result: where
// they go.
char* post_room(ConvertState& cs, size_t need) {
  if (cs.posts_room - cs.posts_len < need) {
    size_t room = cs.posts_room * 2 > cs.posts_len + need ? cs.posts_room * 2 : cs.posts_len + need;
    if (room < kPostBatch + 4096) room = kPostBatch + 4096;
    std::unique_ptr<char[]> bigger(new char[room]);
    if (cs.posts_len) std::memcpy(bigger.get(), cs.posts.get(), cs.posts_len);
    cs.posts = std::move(bigger);
    cs.posts_room = room;
  }
  return cs.posts.get() + cs.posts_len;
}

// Writes the post blocks that wait; everything else that goes into the text is
// written after them.
void flush_posts(Run& run) {
  ConvertState& cs = run.conv;
  if (cs.posts_len == 0) return;
  write_text(run, std::string_view(cs.posts.get(), cs.posts_len));
  cs.posts_len = 0;
}

// Builds the block of the post in hand: straight into the output file's block, or, for
// standard output, among the blocks of other posts that are written at once.
void write_post(Run& run, int post_no, const Layout& lay) {
  Post& post = run.post;
  ConvertState& cs = run.conv;
  if (post.date_ok == 1 && lay.recast) recast_date(run);
  std::string_view note;
  if (post.cut != std::string::npos) {
    cut_body(post);
    make_note(run, post.cut_lines);
    note = cs.note;
  }
  std::string_view lang;
  if (lay.lang_tag && run.line.lang_tag) lang = run.line.lang_tag;

  const size_t need = 16 + lay.before_name.size + post.name.size() + lay.mail_open.size +
                      post.mail.size() + lay.mail_close.size + lay.no_mail.size +
                      lay.before_date.size + post.date.size() + lang.size() + lay.before_body.size +
                      post.body.size() + note.size() + lay.after_body.size + sizeof Piece::text;
  const bool in_file = !run.cmdm.st && output_is_open(run);
  if (in_file) flush_posts(run);
  char* const start = in_file ? output_room(run, need) : post_room(cs, need);
  char* w = start;
  auto put = [&](std::string_view v) TZ_INLINE {
    copy_bytes(w, v.data(), v.size());
    w += v.size();
  };
  auto put_piece = [&](const Piece& piece) TZ_INLINE {
    if (piece.size <= sizeof piece.text) {
      std::memcpy(w, piece.text, sizeof piece.text);
      w += piece.size;
    } else {
      put(piece.longer);
    }
  };
  w = std::to_chars(w, w + 16, post_no).ptr;
  put_piece(lay.before_name);
  put(post.name);
  if (!post.mail.empty()) {
    put_piece(lay.mail_open);
    put(post.mail);
    put_piece(lay.mail_close);
  } else {
    put_piece(lay.no_mail);
  }
  put_piece(lay.before_date);
  put(post.date);
  put(lang);
  put_piece(lay.before_body);
  put(post.body);
  put(note);
  put_piece(lay.after_body);
  const auto built = static_cast<size_t>(w - start);
  if (in_file) {
    commit_output(run, built);
    return;
  }
  cs.posts_len += built;
  if (cs.posts_len >= kPostBatch) flush_posts(run);
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

  // The language tag of World 2ch lines belongs to the thread: a thread whose lines
  // never set it shows none, whatever the thread before it had.
  run.line.lang_tag = "";
  const Layout lay = make_layout(run);
  int post_no = 0;
  bool want_title = true;
  char* cur = run.log.sfile.empty() ? nullptr : run.log.sfile.data() + run.log.log_first;
  LineFields& lf = run.line;
  for (;;) {
    if (want_title && list_only == 0) {
      want_title = false;
      flush_posts(run);
      if (!m_no_title(cm)) {
        std::string& t = run.conv.text;
        t.assign(run.sflg.tname);
        t += str.newline.view();
        t += str.newline.view();
        write_text(run, t);
      }
    }
    next_line(run, cur, cur ? run.log.sfile.data() + run.log.sfile.size() : nullptr);
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
      write_post(run, post_no, lay);
      if (post_no == 1 && (cm.i_first || m_excerpt(cm) || tree_mode)) {
        make_excerpt(run, tree_mode);
      }
    }
    if (cm.d > 0) {
      // A piece that ends here is closed with what waits to be written.
      if (static_cast<int64_t>(post_no) == static_cast<int64_t>(run.sflg.piece) * cm.d) {
        flush_posts(run);
      }
      int r = next_piece(run, post_no, times);
      if (r == 1) break;
      if (r == 0) want_title = true;
    }
    cur = lf.next;
  }
  flush_posts(run);
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
    // The closed piece takes the source's time, whether or not /ct is given.
    const os::FileInfo* src = source_status(run);
    close_output(run, src != nullptr, src ? source_time(*src) : 0);
  }
  ++f.piece;
  if (!cm.st) {
    size_t idx = static_cast<size_t>(f.piece - 1);
    std::string path = run.paths.dst_path;
    if (idx < run.dfile_div.size()) path += run.dfile_div[idx];
    if (path.size() > kPathRoom - 1) path.resize(kPathRoom - 1);
    run.paths.out_path = path;
    if (idx >= run.dfile_div.size() || !open_file_for(run, path)) {
      say(run, msg(run, Msg::create_fail), sjis_path(run.paths.out_name).c_str());
      run.dfile_div.clear();
      f.pieces = -1;
      return 1;
    }
    progress_line(run, f.ow);
  }
  write_thread_head(run);
  return 0;
}

}  // namespace tz
