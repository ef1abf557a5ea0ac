#include "log/identify.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "codes/convert.h"
#include "codes/guess.h"
#include "platform/os.h"
#include "run/run.h"
#include "text/dates.h"

namespace tz {

namespace {

// Finds "<>" in the NUL-ended `p`.
char* find_sep(char* p) {
  while ((p = std::strchr(p, '<')) != nullptr) {
    if (p[1] == '>') return p;
    ++p;
  }
  return nullptr;
}

void clear_post_rows(Run& run) {
  run.post.name.clear();
  run.post.mail.clear();
  run.post.date.clear();
  run.post.body.clear();
}

}  // namespace

void next_line(Run& run, char* line) {
  LineFields& lf = run.line;
  for (int i = 1; i <= 6; ++i) lf.fields[i] = nullptr;
  char* lfeed = line ? std::strchr(line, '\n') : nullptr;
  if (!lfeed) {
    lf.end_flag = 1;
    return;
  }
  lf.end_flag = 0;
  lf.fields[0] = line;
  lf.next = lfeed + 1;
  *lfeed = '\0';
  if (lfeed > line && lfeed[-1] == '\r') lfeed[-1] = '\0';
  if (*line == '\0') {
    lf.seps = 0;
    return;
  }
  int seps = 0;
  if (char* sep = find_sep(line)) {
    run.sflg.kind = 2;
    while (sep && seps < 6) {
      sep[0] = sep[1] = '\0';
      lf.fields[++seps] = sep + 2;
      sep = find_sep(sep + 2);
    }
  } else {
    run.sflg.kind = 1;
    char* comma = std::strchr(line, ',');
    while (comma && seps < 8) {
      *comma = '\0';
      lf.fields[++seps] = comma + 1;
      comma = std::strchr(comma + 1, ',');
    }
  }
  for (int i = seps + 1; i <= 8; ++i) lf.fields[i] = nullptr;
  if (seps == 5 && run.sflg.k_abroad == 2) {
    const char* f = lf.fields[5];
    lf.lang_tag = "";
    if (std::strncmp(f, "en", 2) == 0) lf.lang_tag = " By English";
    else if (std::strncmp(f, "ja", 2) == 0) lf.lang_tag = " By Japanese";
    else if (std::strncmp(f, "ko", 2) == 0) lf.lang_tag = " By Korean";
    else if (std::strncmp(f, "zh", 2) == 0) lf.lang_tag = " By Chinese";
  }
  lf.seps = static_cast<uint8_t>(seps);
  clear_post_rows(run);
}

int count_separators(const char* line, const char* end) {
  const char* stop = line;
  while (stop < end && *stop != '\n' && *stop != '\0') ++stop;
  size_t len = static_cast<size_t>(stop - line);
  int pairs = 0;
  int commas = 0;
  for (const char* p = static_cast<const char*>(std::memchr(line, '<', len)); p;
       p = static_cast<const char*>(std::memchr(p + 1, '<', static_cast<size_t>(stop - p - 1)))) {
    if (p + 1 < stop && p[1] == '>') ++pairs;
  }
  if (pairs) return pairs;
  for (const char* p = static_cast<const char*>(std::memchr(line, ',', len)); p;
       p = static_cast<const char*>(std::memchr(p + 1, ',', static_cast<size_t>(stop - p - 1)))) {
    ++commas;
  }
  return commas;
}

namespace {

constexpr size_t kHeadRoom = 270000;
constexpr int kDefaultHead = 30720;

// The thread key from the file name: 9 digits beginning with 9, or 10 beginning with 1.
int32_t key_from_name(const std::string& name) {
  size_t digits = 0;
  while (digits < name.size() && digits < 256 && name[digits] >= '0' && name[digits] <= '9')
    ++digits;
  if (digits >= name.size() || name[digits] != '.') return 0;
  if (digits != 9 && digits != 10) return 0;
  if (name.compare(0, 3, "924") == 0) return 0;
  if (digits == 9 && name[0] != '9') return 0;
  if (digits == 10 && name[0] != '1') return 0;
  long long v = std::stoll(name.substr(0, digits));
  return v > 0x7FFFFFFF ? 0 : static_cast<int32_t>(v);
}

// The time of the open file for /ts on file dates, as 16 digits.
void take_file_date(Run& run, std::FILE* fp, char* file_date) {
  os::FileInfo info;
  if (!os::stat_file(fp, &info)) return;
  os::LocalTime t = os::local_time(run.cmdm.ts_kind == 'c' ? info.birthtime : info.mtime);
  std::snprintf(file_date, 20, "%04d%02d%02d%02d%02d%02d00", t.year, t.month, t.day, t.hour,
                t.minute, t.second);
}

// A date of the kind most boards write, which tells nothing about the board.
bool common_date(const DateInfo& d) {
  if (d.year_digits == 4 && d.weekday == 1 && d.time_digits >= 4) return true;
  return d.year_digits == 2 && d.weekday == 0 && d.time_digits > 0;
}

}  // namespace

uint8_t identify_log(Run& run, char* file_date, Times& times) {
  Sflg& f = run.sflg;
  const Cmdm& c = run.cmdm;
  bool keep = (c.f || f.k_free || f.k_jbbs2) && f.k_machi <= 1 && f.k_shitaraba <= 1;
  if (!keep) clear_kind_flags(f);
  f.live_head = f.comma_sub = f.subkind = 0;
  f.key = key_from_name(run.paths.src_file);

  // A folder opens as a stream here, but it is no file that can be read.
  os::FileInfo info;
  if (os::stat_path(run.paths.src_path, &info) && info.is_dir) return f.kind = 0xFF;
  std::FILE* fp = std::fopen(run.paths.src_path.c_str(), "rb");
  if (!fp) return f.kind = 0xFF;
  if (c.ts_kind == 'c' || c.ts_kind == 'm') take_file_date(run, fp, file_date);

  int head_kb = o_head_kb(c);
  size_t limit = head_kb ? static_cast<size_t>(head_kb) * 1024 : kDefaultHead;
  if (limit > kHeadRoom) limit = kHeadRoom;
  std::vector<char>& head = run.head;
  if (head.size() < kHeadRoom + 16) head.resize(kHeadRoom + 16);
  size_t n = std::fread(head.data(), 1, limit, fp);
  std::fclose(fp);
  if (n == 0) return f.kind = 0xFD;
  for (size_t i = 0; i < n; ++i)
    if (head[i] == '\0') head[i] = ' ';
  std::memset(head.data() + n, 0, 11);
  char* text = head.data();

  long sample = (head_kb >= 1 && head_kb <= 150) ? static_cast<long>(limit / 5) : kDefaultHead;
  f.code_in = static_cast<uint8_t>(guess_code(text, sample));
  if (int forced = o_forced_in(c)) f.code_in = static_cast<uint8_t>(forced);

  if ((std::strncmp(text, "LIVE", 4) == 0 || std::strncmp(text, "KAKO", 4) == 0)) {
    const char* comma = std::strchr(text, ',');
    if (comma && std::strchr(comma + 1, ',')) f.live_head = 1;
  }
  if (std::strncmp(text, "<dt><a name=\"a1\">1", 18) == 0) return f.kind = 7;

  // Walk the lines of the head for the first post.
  LineFields first{};
  bool have_first = false;
  DateInfo d{};
  char* line = text;
  char* const head_end = text + n;
  for (;;) {
    char* end = line + std::strcspn(line, "\n\r");
    if (end >= head_end) break;  // the line that the head cut off is never looked at
    bool cr_lf = *end == '\r' && end + 1 < head_end && end[1] == '\n';
    next_line(run, line);
    LineFields& lf = run.line;
    bool candidate = lf.seps > 2 && !lf.end_flag;
    if (candidate && head_kb == 0) {
      candidate = lf.fields[1] - lf.fields[0] <= 255 && lf.fields[2] - lf.fields[1] <= 255;
    }
    if (candidate) {
      if (!have_first) {
        first = lf;
        have_first = true;
      }
      bool done = false;
      for (int field = 2; field <= 3 && !done; ++field) {
        if (field == 3 && lf.seps < 5) break;
        d = DateInfo{};
        read_date(run, &d, times.first, lf.fields[field], f.code_in, 1);
        bool passes = (d.end != 0 && d.start >= 0 && d.start <= 40) || d.mark;
        if (!passes) continue;
        f.subkind = static_cast<uint8_t>(field + 1);
        done = !d.mark;  // after a deleted post's mark the walk looks on for a real date
        if (d.mark) break;
      }
      if (done) break;
    }
    line = end + (cr_lf ? 2 : 1);
    if (line >= head_end) break;
  }
  if (have_first) run.line = first;
  if (f.subkind == 0) return f.kind = 0;
  run.log.log_first = static_cast<size_t>(run.line.fields[0] - text);
  if (head_kb == 0 && f.live_head == 0 && run.log.log_first != 0) return f.kind = 0;

  // What the form of the line and its date tell of the board.
  f.comma_sub = 0;
  if (f.kind == 1 && std::strncmp(run.line.fields[0], "<b>", 3) == 0)
    f.comma_sub = d.blanks ? 2 : 1;
  if (d.form) {
    clear_kind_flags(f);
    f.k_machi = d.form;
  }
  if (f.subkind == 4) {
    clear_kind_flags(f);
    if (d.has_id) f.k_machi = 4;
    else f.k_shitaraba = 4;
  }
  bool date_read = d.year_digits != 0 || d.time_digits != 0;
  if (!common_date(d) && d.adjust != 1 && !f.k_machi && date_read) {
    clear_kind_flags(f);
    f.k_other = 1;
  }

  // The title stands in the field behind the body.
  int title_slot = f.subkind + 1;
  if (run.line.seps >= title_slot) {
    std::string& title = f.tname_dat;
    const char* t = run.line.fields[title_slot];
    title.assign(t, strnlen(t, kTitleCut));
    clean_text(title, f.code_in, kTitleCut);
    if (!title.empty() && title.back() == '\r') title.pop_back();
    f.tname_sjis = title;
    convert_code(run, f.tname_sjis, f.code_in, kSjis, kTitleRoom);
  }
  return f.kind;
}

}  // namespace tz
