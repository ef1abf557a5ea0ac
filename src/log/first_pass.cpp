#include "log/first_pass.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "codes/convert.h"
#include "codes/cp932.h"
#include "codes/guess.h"
#include "common/byte_search.h"
#include "log/identify.h"
#include "log/source.h"
#include "platform/os.h"
#include "run/run.h"
#include "text/dates.h"

namespace tz {

namespace {

constexpr size_t kWalkBlock = 204800;  // most logs of a long walk fit one block
constexpr int kLineGiveUp = 10000;
constexpr size_t kDateCut = 254;
constexpr size_t kReadPiece = 256 * 1024;  // read and swept while it stays in the cache

// Finds the first post line from the head: the first line with 3 or more separators.
size_t find_first_post(const char* text, size_t len, int look) {
  const char* end = text + len;
  const char* p = text;
  int lines = 0;
  while (lines < look) {
    if (count_separators(p, end) >= 3) return static_cast<size_t>(p - text);
    const char* lf = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
    if (!lf) return 0;
    p = lf + 1;
    if (++lines >= kLineGiveUp) return 0;
  }
  return static_cast<size_t>(p - text);
}

// Finds the end of the last post line, searching from the end of the text.
size_t find_last_post(const char* text, size_t len, int look) {
  size_t stretch_end = len;
  int lines = 0;
  for (;;) {
    const void* lf = stretch_end ? memrchr(text, '\n', stretch_end) : nullptr;
    size_t start = lf ? static_cast<size_t>(static_cast<const char*>(lf) - text) + 1 : 0;
    if (count_separators(text + start, text + stretch_end) >= 3 || start == 0) break;
    if (++lines >= look) break;
    stretch_end = start - 1;  // the line feed that closes the line before
  }
  if (lines >= kLineGiveUp && stretch_end > 0) return stretch_end - 1;
  return stretch_end;
}

// The separator of the line at `p`: "<>" if it holds one before its line feed. The
// search stays in the line: a comma log has no "<>" to stop it sooner, and the lines
// are looked at from the end.
std::string_view line_separator(const char* p) {
  const char* lf = std::strchr(p, '\n');
  const std::string_view line(p, lf ? static_cast<size_t>(lf - p) : std::strlen(p));
  return line.find("<>") != std::string_view::npos ? "<>" : ",";
}

// Skips `n` separators from `p`; null when one isn't found or lies behind `last`.
const char* skip_separators(const char* p, std::string_view sep, int n, const char* last) {
  for (int i = 0; i < n; ++i) {
    const char* hit = std::strstr(p, sep.data());
    if (!hit || hit > last) return nullptr;
    p = hit + sep.size();
  }
  return p;
}

// A date text counts when its first slash has a digit on both sides.
bool slash_date(std::string_view text) {
  size_t slash = text.find('/');
  if (slash == std::string_view::npos || slash == 0 || slash + 1 >= text.size()) return false;
  auto digit = [](char c) { return c >= '0' && c <= '9'; };
  return digit(text[slash - 1]) && digit(text[slash + 1]);
}

// A field of the log as it reads in the output code. While the posts of the log wait to
// become UTF-8 they are Shift_JIS, so the part of the field among them is converted
// into `scratch`; the separators and line ends it lies between stand alone in both codes.
std::string_view field_text(const LogBuffer& log, const char* field, size_t len,
                            std::string& scratch) {
  const char* posts = log.sfile.data() + log.utf8_from;
  if (!log.utf8_due || field + len <= posts) return {field, len};
  size_t before = field < posts ? static_cast<size_t>(posts - field) : 0;
  scratch.assign(field, before);
  append_utf8_from_sjis(scratch, field + before, len - before);
  return scratch;
}

std::string first_date_text(const LogBuffer& log, const char* first, const char* last,
                            int numbered) {
  std::string scratch;
  const char* p = first;
  while (p && *p) {
    std::string_view sep = line_separator(p);
    const char* field = skip_separators(p, sep, 2 + numbered, last);
    if (!field) return std::string();
    const char* stop = std::strstr(field, sep.data());
    size_t len = stop ? static_cast<size_t>(stop - field) : std::strlen(field);
    std::string_view date = field_text(log, field, len, scratch).substr(0, kDateCut);
    if (slash_date(date)) return std::string(date);
    const char* lf = std::strchr(p, '\n');
    if (!lf) break;
    p = lf + 1;
  }
  return std::string();
}

// The first and last post lines of the text, looked for over the lines the head
// setting gives.
void find_posts(Run& run) {
  LogBuffer& log = run.log;
  int head_kb = o_head_kb(run.cmdm);
  int look = head_kb ? head_kb * 1000 : 5;
  log.log_first = find_first_post(log.sfile.data(), log.len, look);
  log.log_last = find_last_post(log.sfile.data(), log.len, look);
}

void read_into(Run& run, char* out, const std::string& date) {
  if (date.empty()) return;
  DateInfo info;
  char digits[20] = {};
  read_date(run, &info, digits, date.c_str(), run.code_out, 0);
  std::memcpy(out, digits, 17);
}

}  // namespace

int read_log(Run& run) {
  Sflg& f = run.sflg;
  const Cmdm& c = run.cmdm;
  LogBuffer& log = run.log;
  const os::FileInfo* info = source_status(run);
  if (info && info->size < 1) {
    close_source(run);
    return 4;
  }
  // A log that is gone or can't be reached is an open failure, told with its error number.
  // Identification has mostly opened it and read its head already.
  if (!open_source(run)) {
    run.last_err = errno;
    return 1;
  }
  if (!info) {
    close_source(run);
    return 4;
  }
  SourceFile& src = run.source;
  log.utf8_due = false;
  f.fsize = info->size;
  add_total(run.totals.rd_hi, run.totals.rd_lo, f.fsize);

  // Room for the text in the output code, which may be longer than the log.
  size_t base = static_cast<size_t>(f.fsize + f.fsize / 10);
  size_t factor = 1;
  if (run.code_out != f.code_in) {
    factor += (f.code_in == kSjis || f.code_in == kEuc) ? 1 : 0;
    factor += run.code_out == kUtf8 ? 1 : 0;
  }
  if (o_forced_in(c) || o_no_log_check(c)) factor = 3;
  size_t need = factor * base;
  if ((c.s || c.src_wild) && need < kWalkBlock) need = kWalkBlock;
  if (!log.sfile.grow_keeping(need, src.have)) {
    close_source(run);
    return 2;
  }

  size_t want = static_cast<size_t>(f.fsize);
  if (want > log.sfile.size() - 1) want = log.sfile.size() - 1;
  size_t got = src.have < want ? src.have : want;
  // A Shift_JIS log is swept piece by piece as it is read; one to be converted is also
  // scored for the guess of its code.
  const bool sweep_as_read = f.code_in == kSjis;
  SjisSweep sweep =
      run.code_conv ? SjisSweep(log.sfile.data(), log.log_first) : SjisSweep(log.sfile.data());
  while (got < want && !src.failed) {
    const size_t part = sweep_as_read && want - got > kReadPiece ? kReadPiece : want - got;
    const size_t n = os::read_bytes(src.fd, log.sfile.data() + got, part, &src.failed);
    got += n;
    if (src.failed) src.err = errno;
    if (sweep_as_read) sweep.take(got);
    if (n < part) break;
  }
  if (got == 0 || src.failed) {
    run.last_err = src.failed ? src.err : errno;
    log.sfile.release();
    log.len = 0;
    close_source(run);
    return 3;
  }
  char* text = log.sfile.data();
  text[got] = '\0';
  // The sweep scores the text only when its code is to be guessed for a conversion. It
  // counts the line ends when the text stays as swept; a Shift_JIS sweep always does,
  // and its count holds as long as nothing is converted but into Shift_JIS, which keeps
  // every line end.
  int64_t own = 0;
  LineEnds ends;
  bool swept = true;
  bool counted = sweep_as_read || !run.code_conv;
  if (run.code_conv && sweep_as_read)
    own = sweep.finish_floor(got, &ends);
  else if (run.code_conv)
    swept = clean_text_scored(text, f.code_in, got, log.log_first, &own) == 0;
  else if (sweep_as_read)
    ends = sweep.finish(got);
  else
    swept = clean_text_counted(text, f.code_in, got, &ends) == 0;
  log.len = got;
  if (run.code_conv && log.log_first < got) {
    // The code is guessed afresh from the text of the posts. The sweep has scored that
    // text when the posts begin where a character begins (behind a line end).
    size_t room = log.sfile.size() - log.log_first;
    char* posts = text + log.log_first;
    bool boundary = log.log_first == 0 || static_cast<unsigned char>(posts[-1]) < 0x40;
    // The Shift_JIS sweep has left no NUL in the text read.
    const size_t posts_len = sweep_as_read ? got - log.log_first : strnlen(posts, room);
    assert(posts_len == strnlen(posts, room));
    int from;
    if (!swept || !boundary) {
      from = guess_code(posts, static_cast<long>(room));
    } else if (sweep_as_read &&
               sjis_floor_settles(sweep.ranges(), posts_len, static_cast<long>(room), own)) {
      from = kSjis;
    } else {
      // The Shift_JIS sweep gave a floor of the score that didn't settle the guess: the
      // exact score, from a second sweep, which finds nothing more to change.
      if (sweep_as_read) clean_text_scored(text, kSjis, got, log.log_first, &own);
      from = guess_swept(posts, posts_len, static_cast<long>(room), f.code_in, own);
    }
    // Shift_JIS (or EUC-JP, made Shift_JIS here) becoming UTF-8 waits for the converter
    // when nothing before it reads the text as a whole: the title from the first line
    // does. It must fit its room, which a cut would otherwise shorten.
    bool may_wait = run.code_out == kUtf8 && (from == kSjis || from == kEuc) &&
                    !o_no_log_check(c) && f.k_abroad != 1;
    size_t n;
    if (from == kCodeAuto) {
      n = posts_len;
    } else if (may_wait) {
      n = posts_len;
      if (from == kEuc) {
        euc_to_sjis(posts, room);
        n = strnlen(posts, room);
      }
      log.utf8_from = log.log_first;
      log.utf8_due = n != 0 && 3 * n < room;
      if (!log.utf8_due) {
        n = convert_log_text(run, log.sfile, log.log_first, kSjis, kUtf8, room);
        counted = false;
      }
    } else {
      n = convert_log_text(run, log.sfile, log.log_first, from, run.code_out, room);
      counted = false;
    }
    log.len = log.log_first + n;
    text = log.sfile.data();
  }

  find_posts(run);
  // The date reading stops at a last post ending at the first bytes, which are more
  // bytes in UTF-8: such a log is converted now.
  if (log.utf8_due && log.log_last <= 1) {
    bring_posts_into_utf8(run);
    text = log.sfile.data();
    counted = false;
  }

  // The posts' line ends: those of the whole text but for the few before the first post
  // and behind the last, where the sweep counted them.
  size_t lfs = 0;
  size_t crs = 0;
  if (log.log_first <= log.log_last) {
    const char* from = text + log.log_first;
    const char* to = text + (log.log_last < log.len ? log.log_last + 1 : log.len);
    if (!counted) {
      count_two(from, to, '\n', '\r', &lfs, &crs);
    } else {
      size_t head_lf = 0, head_cr = 0, tail_lf = 0, tail_cr = 0;
      count_two(text, from, '\n', '\r', &head_lf, &head_cr);
      count_two(to, text + log.len, '\n', '\r', &tail_lf, &tail_cr);
      lfs = ends.lf - head_lf - tail_lf;
      crs = ends.cr - head_cr - tail_cr;
    }
  }
  f.rescount = static_cast<int>(lfs);
  f.fsize -= static_cast<int64_t>(crs);
  f.fsize_kb = (f.fsize + 1023) / 1024;
  close_source(run);
  return 0;
}

void bring_posts_into_utf8(Run& run) {
  LogBuffer& log = run.log;
  if (!log.utf8_due) return;
  log.utf8_due = false;
  size_t room = log.sfile.size() - log.utf8_from;
  // The posts end at the log's first NUL: the sweep leaves none among them.
  log.len = log.utf8_from + convert_log_text(run, log.sfile, log.utf8_from, kSjis, kUtf8, room,
                                             log.len - log.utf8_from);
  find_posts(run);
}

void take_dates(Run& run, Times& times) {
  LogBuffer& log = run.log;
  if (log.sfile.empty()) return;
  const char* text = log.sfile.data();
  const char* last = text + log.log_last;
  int numbered = run.sflg.subkind == 4 ? 1 : 0;
  std::string first = first_date_text(log, text + log.log_first, last, numbered);
  if (log.log_last <= 1) return;

  std::string last_date;
  std::string age_date;
  std::string scratch;
  size_t line_end = log.log_last;
  for (;;) {
    const void* lf = line_end ? memrchr(text, '\n', line_end) : nullptr;
    size_t start = lf ? static_cast<size_t>(static_cast<const char*>(lf) - text) + 1 : 0;
    const char* p = text + start;
    std::string_view sep = line_separator(p);
    const char* mail = skip_separators(p, sep, 1 + numbered, text + log.len);
    const char* mail_end = mail ? std::strstr(mail, sep.data()) : nullptr;
    if (!mail_end) {
      age_date = first;
      break;
    }
    bool sage = field_text(log, mail, static_cast<size_t>(mail_end - mail), scratch).find("sage") !=
                std::string_view::npos;
    const char* date = mail_end + sep.size();
    const char* stop = std::strchr(date, sep[0]);
    if (stop) {
      std::string_view field = field_text(log, date, static_cast<size_t>(stop - date), scratch);
      if (slash_date(field)) {
        const std::string_view text_of = field.substr(0, kDateCut);
        if (last_date.empty()) last_date.assign(text_of);
        if (!sage) {
          age_date.assign(text_of);
          break;
        }
      }
    }
    if (start == 0) {
      age_date = first;
      break;
    }
    line_end = start - 1;
  }
  read_into(run, times.first, first);
  read_into(run, times.age, age_date);
  read_into(run, times.last, last_date);
  for (char* t : {times.first, times.last, times.age})
    if (t[0] == '\0') std::memcpy(t, "0000000000000000", 17);
}

}  // namespace tz
