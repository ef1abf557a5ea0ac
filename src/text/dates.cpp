#include "text/dates.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

#include "codes/convert.h"
#include "common/byte_search.h"
#include "common/byte_tables.h"
#include "common/strings.h"
#include "platform/os.h"
#include "run/run.h"

namespace tz {

namespace {

constexpr char kZeroDigits[] = "0000000000000000";

// Shift_JIS bytes of the weekday names, Sunday first: 日月火水木金土.
constexpr char kWeekdays[] = "\x93\xFA\x8C\x8E\x89\xCE\x90\x85\x96\xD8\x8B\xE0\x93\x79";
// 水, the weekday that a board wrote for 2007/02/15 when it meant the 14th.
constexpr char kWednesday[] = "\x90\x85";
// 皇紀2665: a board that counted the imperial era in the year of 2005.
constexpr char kImperialYear[] =
    "\x8D\x63\x8B\x49"
    "2665";

constexpr int kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// Room of the weekday copy; 30 bytes may grow in no conversion to Shift_JIS.
constexpr size_t kWeekdayRoom = 64;
// Head of the field converted to Shift_JIS to look for the imperial year.
constexpr size_t kHeadRoom = 64;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

int mod7(long v) {
  return static_cast<int>(((v % 7) + 7) % 7);
}

int month_len(int m) {
  return m >= 1 && m <= 12 ? kMonthDays[m - 1] : 0;
}

// A number out of `n` bytes of the digits: leading blanks skipped, a byte that is
// no digit ends it.
int read_number(const char* p, int n) {
  int i = 0;
  while (i < n && p[i] == ' ') ++i;
  int v = 0;
  for (; i < n && is_digit(p[i]); ++i) v = v * 10 + (p[i] - '0');
  return v;
}

void put_number(char* p, int v, int n) {
  for (int i = n - 1; i >= 0; --i) {
    p[i] = static_cast<char>('0' + v % 10);
    v /= 10;
  }
}

// First `needle` at or behind `from`, which must start a character. In a Shift_JIS
// text double bytes are stepped over, so a second byte never starts a match.
long find_text(const char* text, long len, long from, std::string_view needle, bool sjis) {
  const long n = static_cast<long>(needle.size());
  if (n == 0 || from < 0) return -1;
  if (!sjis) {
    size_t hit = std::string_view(text, len).find(needle, from);
    return hit == std::string_view::npos ? -1 : static_cast<long>(hit);
  }
  for (long i = from; i + n <= len;) {
    if (text[i] == needle[0] && std::memcmp(text + i, needle.data(), n) == 0) return i;
    i += (tbl::sjis[static_cast<uint8_t>(text[i])] & tbl::kLead) ? 2 : 1;
  }
  return -1;
}

// The date field with its length; bytes outside it read as "0" for the digits.
struct Field {
  const char* text;
  long len;
  bool digit(long k) const { return k >= 0 && k < len && is_digit(text[k]); }
  bool is(long k, char c) const { return k >= 0 && k < len && text[k] == c; }
  char at(long k) const { return k >= 0 && k < len ? text[k] : '0'; }
};

// The field (no NUL in it) opens with a deleted post's mark.
bool is_dead_mark(const Run& run, const Field& f) {
  const char* mark = run.str.dead_marks;
  // Most fields begin with a digit, which begins no mark.
  if (mark == nullptr || !run.str.dead_first[static_cast<uint8_t>(f.text[0])]) return false;
  while (*mark != '\0') {
    const char* close = std::strchr(mark, '\x01');
    size_t n = close ? static_cast<size_t>(close - mark) : std::strlen(mark);
    if (n > 0 && static_cast<long>(n) <= f.len && std::memcmp(f.text, mark, n) == 0) return true;
    if (close == nullptr) break;
    mark = close + 1;
  }
  return false;
}

// The last "d:d" of the field that is no BE level ("d:d>"), searched from the end:
// what a board appends behind the time must not be taken for it. Result: the digit
// behind the colon, which stands at an offset above 10 and before the last byte.
long find_time(const Field& f) {
  const char* t = f.text;
  for (long top = f.len - 2; top > 10;) {  // colons at 10 to top - 1 are left to look at
    const char* hit = last_byte(t, t + 10, t + top, ':');
    if (hit == nullptr) return -1;
    const long colon = hit - t;
    if (is_digit(t[colon + 1]) && is_digit(t[colon - 1]) && t[colon + 2] != '>') return colon + 1;
    top = colon;
  }
  return -1;
}

// Eight digits of a date or a time, "0" where none is set, gathered in a register and
// stored with one move: the reader reads them back as one number, which the processor
// can't take from single bytes still on their way to memory.
class EightDigits {
 public:
  EightDigits() { std::memcpy(&v_, kZeroDigits, sizeof v_); }
  EightDigits& set(int k, char c) {
    const int shift = std::endian::native == std::endian::little ? 8 * k : 56 - 8 * k;
    v_ = (v_ & ~(uint64_t{0xFF} << shift)) | uint64_t{static_cast<uint8_t>(c)} << shift;
    return *this;
  }
  void store(char* to) const { std::memcpy(to, &v_, sizeof v_); }

 private:
  uint64_t v_;
};

// Time digits from `p`, the first digit of the last group; result the end of the time.
long read_time(const Field& f, long p, DateInfo* info, char* digits) {
  // p stands above 10 and before the last byte: p - 6 to p + 1 lie in the field.
  const char* x = f.text;
  EightDigits t;
  long end = p + 2;
  if (is_digit(x[p - 3]) && x[p - 4] == ':' && is_digit(x[p - 5])) {
    t.set(0, x[p - 6]).set(1, x[p - 5]).set(2, x[p - 3]).set(3, x[p - 2]);
    t.set(4, x[p]).set(5, x[p + 1]);
    info->time_digits = 6;
    if (f.is(p + 2, '.')) {
      t.set(6, f.at(p + 3)).set(7, f.at(p + 4));
      info->time_digits = 8;
      info->centi = 1;
      end = p + 5 < f.len ? p + 5 : f.len;
    }
  } else {
    // The hour is taken as it stands, a blank included.
    t.set(0, x[p - 3]).set(1, x[p - 2]).set(2, x[p]).set(3, x[p + 1]);
    info->time_digits = 4;
  }
  t.store(digits + 8);
  return end;
}

// Whether the `n` bytes of `wd` stand anywhere in the weekday names, as strstr finds
// them.
bool in_weekdays(const char* wd, size_t n) {
  constexpr size_t kNames = sizeof kWeekdays - 1;
  if (n == 2) {
    // The usual bracket holds one name: its two bytes against the 13 pairs of the names.
    for (size_t i = 0; i + 2 <= kNames; ++i) {
      if (kWeekdays[i] == wd[0] && kWeekdays[i + 1] == wd[1]) return true;
    }
    return false;
  }
  if (n == 0) return true;
  if (n > kNames) return false;
  for (size_t i = 0; i + n <= kNames; ++i) {
    if (kWeekdays[i] != wd[0]) continue;
    size_t k = 1;
    while (k < n && kWeekdays[i + k] == wd[k]) ++k;
    if (k == n) return true;
  }
  return false;
}

// Converts the weekday text `wd` (NUL-ended, `n` bytes) from `code` to Shift_JIS in
// place, as convert_code does. Result: its length then. A Shift_JIS text stays as it
// is; the texts of the other codes are few in a thread, and their conversions are kept.
size_t weekday_to_sjis(Run& run, char* wd, size_t n, int code) {
  if (code == kSjis) return n;
  if (code != kEuc && code != kUtf8) {
    convert_code(run, wd, code, kSjis, kWeekdayRoom);
    return std::strlen(wd);
  }
  ConvertState& cs = run.conv;
  // The names are a few bytes, all as long in one code: compared here, not by a call.
  auto same = [&](const WeekdayMemo& m) {
    if (m.code != code || m.len != n) return false;
    size_t k = 0;
    while (k < n && wd[k] == m.text[k]) ++k;
    return k == n;
  };
  for (const WeekdayMemo& m : cs.weekdays) {
    if (same(m)) {
      std::memcpy(wd, m.sjis, m.sjis_len + 1);
      return m.sjis_len;
    }
  }
  WeekdayMemo& m = cs.weekdays[cs.weekday_next];
  cs.weekday_next = static_cast<uint8_t>((cs.weekday_next + 1) % cs.weekdays.size());
  m.code = static_cast<uint8_t>(code);
  m.len = static_cast<uint8_t>(n);
  std::memcpy(m.text, wd, n);
  convert_code(run, wd, code, kSjis, kWeekdayRoom);
  const size_t len = strnlen(wd, kWeekdayRoom - 1);
  std::memcpy(m.sjis, wd, len);
  m.sjis[len] = '\0';
  m.sjis_len = static_cast<uint8_t>(len);
  return len;
}

// The bracket before the time; `wd` gets its text in Shift_JIS when it is closed.
void read_weekday(Run& run, const Field& f, long p, int code, DateInfo* info, char* wd) {
  wd[0] = '\0';
  const char* bracket = last_byte(f.text, f.text, f.text + p, '(');
  if (bracket == nullptr) return;
  const long open = bracket - f.text;
  long k = open + 1;
  size_t n = 0;
  while (n < 30 && k < f.len && f.text[k] != ')') wd[n++] = f.text[k++];
  wd[n] = '\0';
  if (!f.is(k, ')')) {
    wd[0] = '\0';
    return;
  }
  n = weekday_to_sjis(run, wd, n, code);
  info->weekday = in_weekdays(wd, n) ? 1 : 2;
}

// The first 8 digits as a number that orders as the bytes do.
constexpr uint64_t date_key(const char* digits) {
  if (!std::is_constant_evaluated() && std::endian::native == std::endian::little) {
    uint64_t v;
    std::memcpy(&v, digits, sizeof v);
    return __builtin_bswap64(v);
  }
  uint64_t v = 0;
  for (int i = 0; i < 8; ++i) v = (v << 8) | static_cast<uint8_t>(digits[i]);
  return v;
}

// Dates that boards are known to have written wrongly.
void repair_date(DateInfo* info, char* digits, const char* wd) {
  constexpr uint64_t kMarch31 = date_key("20060331");
  constexpr uint64_t kApril1 = date_key("20060401");
  constexpr uint64_t kFeb15 = date_key("20070215");
  const uint64_t key = date_key(digits);
  if (key > kMarch31 && key < kApril1 && is_digit(digits[6]) && is_digit(digits[7])) {
    // A board ran March on past its 31st day in 2006.
    std::memcpy(digits + 4, "04", 2);
    put_number(digits + 6, read_number(digits + 6, 2) - 31, 2);
    info->adjust = 1;
  } else if (key == kFeb15 && std::strncmp(wd, kWednesday, 2) == 0) {
    std::memcpy(digits + 6, "14", 2);
  }
}

int jan1_weekday(int y) {
  return mod7(y + (y + 3) / 4 - 2);
}

// A board that writes something before the date may count years its own way: the
// year is worked out from the weekday, near the year of the thread key.
void repair_year(Run& run, DateInfo* info, char* digits, const Field& f, int code, const char* wd) {
  char head[kHeadRoom];
  size_t n = f.len < static_cast<long>(kHeadRoom) - 1 ? f.len : kHeadRoom - 1;
  std::memcpy(head, f.text, n);
  head[n] = '\0';
  convert_code(run, head, code, kSjis, kHeadRoom);
  if (std::strncmp(head, kImperialYear, sizeof kImperialYear - 1) == 0) {
    std::memcpy(digits, "2005", 4);
    return;
  }
  if (info->weekday != 1) return;
  const char* hit = run.sflg.key != 0 ? std::strstr(kWeekdays, wd) : nullptr;
  if (hit == nullptr) {
    info->adjust = 2;
    return;
  }
  const int w = static_cast<int>(hit - kWeekdays) / 2;
  const int m = read_number(digits + 4, 2);
  const int d = read_number(digits + 6, 2);
  const bool next_year = m >= 3;
  int x;
  if (!next_year) {
    x = mod7(w - (d - 1) - (m == 2 ? 31 : 0));
  } else {
    long left = month_len(m) - d + 1;
    for (int k = m + 1; k <= 12; ++k) left += month_len(k);
    x = mod7(w + left);
  }
  const int y0 = os::local_time(run.sflg.key).year;
  for (int y = y0; y <= y0 + 11; ++y) {
    if (jan1_weekday(y) != x) continue;
    int year = next_year ? y - 1 : y;
    if (year != read_number(digits, 4)) info->adjust = 1;
    put_number(digits, year, 4);
    return;
  }
}

// The date before the time at `p`.
void read_day(Run& run, const Field& f, long p, int code, DateInfo* info, char* digits,
              const char* wd) {
  // q, the digit behind the slash, runs from the byte before the time down to offset
  // 5: all of q - 2 to q lie in the field.
  long q = 0;
  const char* t = f.text;
  for (long top = p - 1; top > 4;) {  // slashes at 4 to top - 1 are left to look at
    const char* hit = last_byte(t, t + 4, t + top, '/');
    if (hit == nullptr) break;
    const long slash = hit - t;
    if (is_digit(t[slash + 1]) && is_digit(t[slash - 1])) {
      q = slash + 1;
      break;
    }
    top = slash;
  }
  // From here q - 5 to q + 2 lie in the field: q stands before the time's digit p.
  if (q <= 4 || t[q - 4] != '/') return;
  long start;
  if (q > 6 && f.digit(q - 7) && f.digit(q - 8)) {
    // YYYY/MM/DD, q on the day.
    EightDigits day;
    for (int k = 0; k < 4; ++k) day.set(k, t[q - 8 + k]);
    day.set(4, t[q - 3]).set(5, t[q - 2]).set(6, t[q]).set(7, t[q + 1]).store(digits);
    info->year_digits = 4;
    start = q - 8;
    repair_date(info, digits, wd);
  } else if (is_digit(t[q + 2])) {
    // MM/DD/YYYY, q on the year.
    for (int i = 0; i < 4; ++i) digits[i] = f.at(q + i);
    digits[4] = f.at(q - 6);
    digits[5] = f.at(q - 5);
    digits[6] = f.at(q - 3);
    digits[7] = f.at(q - 2);
    info->year_digits = 4;
    info->year_last = 1;
    info->start = static_cast<int>(q - 6 > 0 ? q - 6 : 0);
    return;
  } else {
    // YY/MM/DD, q on the day.
    std::memcpy(digits, f.at(q - 6) == '9' ? "19" : "20", 2);
    digits[2] = f.at(q - 6);
    digits[3] = t[q - 5];
    digits[4] = t[q - 3];
    digits[5] = t[q - 2];
    digits[6] = t[q];
    digits[7] = t[q + 1];
    info->year_digits = 2;
    start = q - 6 > 0 ? q - 6 : 0;
  }
  info->start = static_cast<int>(start);
  if (start != 0) {
    info->prefix = 1;
    repair_year(run, info, digits, f, code, wd);
  }
}

// What tells a machi log from the rest: the host in brackets or in a small font.
void read_machi_form(const Field& f, long end, bool sjis, DateInfo* info) {
  auto find = [&](long from, std::string_view s) {
    return find_text(f.text, f.len, from, s, sjis);
  };
  info->has_id = find(0, "ID:") >= 0;
  long open = find(end, "[");
  if (open >= 0 && open < 100) {
    long close = find(open + 1, "]");
    if (close >= 0 && close < 100) info->form = 1;
  }
  if (find(end, "font size=1") < 0) return;
  if (info->has_id && find(end, "<font size=1>IP:") >= 0) info->form = 2;
  constexpr std::string_view kHostOpen = "<font size=1>[ ";
  long host = info->has_id ? find(end, kHostOpen) : -1;
  if (host >= 0 && find(host + static_cast<long>(kHostOpen.size()), " ]</font>") >= 0) {
    info->form = 5;
  }
}

}  // namespace

void read_date(Run& run, DateInfo* info, char* digits, const char* text, int code, int identify) {
  read_date(run, info, digits, std::string_view(text ? text : ""), code, identify);
}

void read_date(Run& run, DateInfo* info, char* digits, std::string_view field, int code,
               int identify) {
  *info = DateInfo{};
  if (field.empty()) return;
  const char* text = field.data();
  const Field f{text, static_cast<long>(field.size())};
  std::memcpy(digits, kZeroDigits, sizeof kZeroDigits);
  int blanks = 0;
  while (blanks < 255 && blanks < f.len && text[blanks] == ' ') ++blanks;
  info->blanks = static_cast<uint8_t>(blanks);
  if (is_dead_mark(run, f)) {
    info->mark = 1;
    return;
  }
  digits[0] = '\0';
  long end = 0;
  long p = find_time(f);
  if (p >= 0) {
    end = read_time(f, p, info, digits);
    char wd[kWeekdayRoom];
    read_weekday(run, f, p, code, info, wd);
    read_day(run, f, p, code, info, digits, wd);
  }
  // A field with no date still counts (its digits start with a NUL); only a date of
  // all zeros doesn't.
  if (std::memcmp(digits, kZeroDigits, 16) == 0) return;
  if (identify) read_machi_form(f, end, code == kSjis && run.sflg.k_abroad == 0, info);
  info->ok = 1;
  info->end = static_cast<int>(end);
}

int find_be(const Run& run, const char* text, std::string* id, std::string* level,
            std::string* extra, int span[2]) {
  id->clear();
  level->clear();
  extra->clear();
  span[0] = span[1] = 0;
  const long len = static_cast<long>(std::strlen(text));
  // Every form holds "BE:" or a "<"; a field with neither, as bytes, holds no notation.
  std::string_view whole(text, static_cast<size_t>(len));
  if (whole.find('<') == std::string_view::npos && whole.find("BE:") == std::string_view::npos) {
    return 0;
  }
  const bool sjis = run.code_out == kSjis && run.sflg.k_abroad == 0;
  auto find = [&](long from, std::string_view s) { return find_text(text, len, from, s, sjis); };
  // A notation at the very head of the field is none.
  auto find_behind_head = [&](std::string_view s) {
    long hit = find(0, s);
    return hit == 0 ? find(1, s) : hit;
  };
  auto take_digits = [&](long& k, std::string* out) {
    while (k < len && is_digit(text[k]) && out->size() < 255) out->push_back(text[k++]);
  };

  int form = 0;
  long begin = 0;
  long cur = 0;
  if (long be = find_behind_head("BE:"); be > 0) {
    form = text[be - 1] == '<' ? 3 : 1;
    begin = form == 3 ? be - 1 : be;
    cur = be + 3;
  } else if (long lt = find_behind_head("<:"); lt > 0) {
    form = find(lt + 2, "Lv.") >= 0 ? 4 : 2;
    begin = lt;
    cur = lt + 2;
  } else if (long a = find_behind_head("<a href="); a > 0) {
    long page = find(a + 8, "/test/p.php?");
    if (page < 0) return 0;
    form = 5;
    begin = a;
    cur = page + 12;
  } else {
    return 0;
  }

  long last = 0;
  switch (form) {
    case 1:
    case 2: {
      take_digits(cur, id);
      if (std::strncmp(text + cur, "not", 3) == 0) {
        cur += 3;
        id->assign(1, '0');
      }
      if (text[cur] == '?') {
        ++cur;
        id->assign(1, '0');
      }
      if (form == 2 && cur < len) ++cur;
      bool in_tag = false;
      while (cur < len && level->size() < 255) {
        char c = text[cur];
        if (c == '<') {
          in_tag = true;
        } else if (c == '>') {
          in_tag = false;
        } else if (c == ' ' && !in_tag) {
          break;
        }
        level->push_back(c);
        ++cur;
      }
      last = cur - 1;
      if (!level->empty() && (*level)[0] == '-') (*level)[0] = '?';
      if (*level == "?") {
        *level = "? ";
        if (cur < len && text[cur] == ' ') last = cur;
      }
      break;
    }
    case 3:
      take_digits(cur, id);
      if (cur < len) ++cur;
      take_digits(cur, level);
      last = cur < len ? cur : len - 1;
      break;
    case 4:
      take_digits(cur, id);
      while (cur < len && !is_digit(text[cur]) && text[cur] != ' ') ++cur;
      take_digits(cur, level);
      last = cur - 1;
      break;
    case 5: {
      while (cur < len && !is_digit(text[cur])) ++cur;
      take_digits(cur, id);
      long gt = find(cur, ">");
      if (gt < 0) {
        last = len - 1;
        break;
      }
      long lt = find(gt + 1, "<");
      long stop = lt >= 0 ? lt : len;
      assign_cut(*level, std::string_view(text + gt + 1, stop - gt - 1), 255);
      last = lt >= 0 && lt + 3 < len ? lt + 3 : len - 1;
      break;
    }
  }

  if (form != 5) {
    // A rank word behind the level belongs to the notation.
    long first = -1;
    long latest = -1;
    for (const char* word : run.str.be_ranks) {
      if (word == nullptr || *word == '\0') continue;
      const char* hit = std::strstr(text + last + 1, word);
      if (hit == nullptr) continue;
      long at = hit - text;
      if (first < 0 || at < first) first = at;
      if (at > latest) latest = at;
    }
    if (latest >= 0 && latest - last < 256) {
      long k = latest;
      while (k < len && text[k] != ' ' && k - latest < 255) ++k;
      last = k - 1;
      assign_cut(*extra, std::string_view(text + first, last - first + 1), 255);
    }
  }
  span[0] = static_cast<int>(begin);
  span[1] = static_cast<int>(last);
  return form;
}

bool may_hold_be(std::string_view text) {
  using LtB = AnyOf<'<', 'B'>;
  const char* p = text.data();
  const char* end = p + text.size();
  for (;; ++p) {
    p = LtB::find(p, end, text.data());
    if (p >= end) return false;
    if (*p == '<' || (end - p >= 3 && p[1] == 'E' && p[2] == ':')) return true;
  }
}

void rewrite_be(Run& run, std::string& date) {
  if (!may_hold_be(date)) return;
  std::string id, level, extra;
  int span[2];
  int form = find_be(run, date.c_str(), &id, &level, &extra, span);
  if (form == 0) return;
  std::string repl = "BE:";
  if (form == 3 || form == 4) {
    repl += id;
    repl += " Lv.";
  } else {
    repl += id == "0" ? "not" : id;
    repl += ' ';
  }
  repl += level;
  if (!extra.empty()) {
    repl += ' ';
    repl += extra;
  }
  std::string notation = date.substr(span[0], span[1] - span[0] + 1);
  replace_text(run, date, notation, repl, kFieldRoom, run.code_out, 1);
}

void recast_date(Run& run) {
  const int mode = m_weekday_mode(run.cmdm);
  if (mode == 0 || run.sflg.k_abroad == 1) return;
  std::string& date = run.post.date;
  DateInfo info;
  char digits[20];
  read_date(run, &info, digits, date.c_str(), run.code_out, 0);
  // A field without a date keeps its text: no head of zeros goes before it.
  if (!info.ok || digits[0] == '\0') return;
  if (info.adjust == 2 || (mode == 3 && info.adjust != 0)) return;
  const int n =
      weekday_of(read_number(digits, 4), read_number(digits + 4, 2), read_number(digits + 6, 2));
  const char* name = run.str.weekday[n];

  // The new head, as "%c%c/%c%c/%c%c %c%c:%c%c" or "%.4s/%.2s/%.2s(%s) %c%c:%c%c" and
  // the like would print it. A weekday name is shorter than a row of 16 bytes.
  char head[96];
  size_t len = 0;
  auto put = [&](char c) { head[len++] = c; };
  auto put2 = [&](const char* two) {  // "%c%c"
    put(two[0]);
    put(two[1]);
  };
  auto put_text = [&](const char* text, size_t most) {  // "%.*s"
    for (size_t i = 0; i < most && text[i] != '\0'; ++i) put(text[i]);
  };
  if (mode == 2) {
    put2(digits + 2);
    put('/');
    put2(digits + 4);
    put('/');
    put2(digits + 6);
    put(' ');
    put2(digits + 8);
    put(':');
    put2(digits + 10);
  } else if (mode == 1 || info.weekday != 0) {
    put_text(digits, 4);
    put('/');
    put_text(digits + 4, 2);
    put('/');
    put_text(digits + 6, 2);
    put('(');
    put_text(name, sizeof run.str.weekday[0]);
    put(')');
    put(' ');
    put2(digits + 8);
    put(':');
    put2(digits + 10);
    if (info.time_digits >= 6) {
      put(':');
      put2(digits + 12);
    }
    if (info.time_digits == 8) {
      put('.');
      put2(digits + 14);
    }
  } else {
    // No weekday yet: it goes into the blank before the time, the rest unchanged.
    size_t colon = date.find(':');
    if (colon == std::string::npos || colon == 0) return;
    size_t blank = date.rfind(' ', colon - 1);
    if (blank == std::string::npos || blank >= 200) return;
    std::string insert = "(";
    insert += name;
    insert += ") ";
    date.replace(blank, 1, insert);
    return;
  }
  size_t end = static_cast<size_t>(info.end);
  if (date.size() - end > 4000) date.resize(end + 4000);
  date.replace(0, end, head, len);
}

int weekday_of(int year, int month, int day) {
  // Days from 1 January of year 1 (a Monday), counted from 1.
  auto floor_div = [](long long a, long long b) { return a >= 0 ? a / b : -((-a + b - 1) / b); };
  long long y = static_cast<long long>(year) - 1;
  long long days = 365 * y + floor_div(y, 4) - floor_div(y, 100) + floor_div(y, 400);
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  for (int m = 1; m < month && m <= 12; ++m) days += month_len(m) + (m == 2 && leap ? 1 : 0);
  days += day;
  return static_cast<int>(((days % 7) + 7) % 7);
}

}  // namespace tz
