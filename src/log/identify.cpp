#include "log/identify.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

#include "codes/byte_blocks.h"
#include "codes/convert.h"
#include "codes/guess.h"
#include "common/byte_search.h"
#include "log/source.h"
#include "platform/os.h"
#include "run/fatal.h"
#include "run/run.h"
#include "run/stores.h"
#include "text/dates.h"

namespace tz {

namespace {

// A line and its first separators.
struct LineScan {
  char* lfeed = nullptr;  // its line feed; null when a NUL comes first
  int found = 0;          // "<>" before the line feed, at most 6
  char* at[6];            // where they stand, in order
};

// Takes the separators whose '<' stand at the bits of `pairs` from `base`.
template <class Mask>
TZ_INLINE inline void take_pairs(LineScan& ls, char* base, Mask pairs) {
  for (int n = ls.found; pairs != 0 && n < 6; pairs &= pairs - 1) {
    ls.at[n++] = base + __builtin_ctzll(pairs);
    ls.found = n;
  }
}

// The line feed (or NUL) found in a block ends the line: the separators before it are
// taken, and `ls.lfeed` set. A separator never straddles it, as its '>' is no line feed.
template <class Mask>
TZ_INLINE inline void end_line(LineScan& ls, char* base, Mask pairs, Mask ends) {
  take_pairs(ls, base, pairs & ((ends & (Mask{0} - ends)) - 1));
  char* stop = base + __builtin_ctzll(ends);
  ls.lfeed = *stop == '\n' ? stop : nullptr;
}

#if defined(__SSE2__)
__m128i block_at(const char* q) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
}

// A separator as a '<' with a '>' in the byte-shifted block: bytes q to q + 16 are read.
unsigned sse2_pairs(const char* q) {
  const __m128i lt = _mm_cmpeq_epi8(block_at(q), _mm_set1_epi8('<'));
  const __m128i gt = _mm_cmpeq_epi8(block_at(q + 1), _mm_set1_epi8('>'));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(lt, gt)));
}
#endif

// The separators of [p, end), the line feed being at `end`.
void find_seps(LineScan& ls, char* p, char* end) {
#if defined(__SSE2__)
  for (; end - p >= 16 && ls.found < 6; p += 16) take_pairs(ls, p, sse2_pairs(p));
#endif
  for (; p < end && ls.found < 6; ++p) {
    if (p[0] == '<' && p[1] == '>') ls.at[ls.found++] = p;
  }
}

// Build with -DTZ_NO_AVX2 to try the SSE2 walk on a processor that has AVX2.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(TZ_NO_AVX2)
#define TZ_HAVE_AVX2_PATH 1
// The walk of scan_line thirty-two bytes at a time on a processor that has AVX2.
// Result: where it stopped; `done` is set when it found the end of the line.
__attribute__((target("avx2"))) char* scan_line_avx2(LineScan& ls, char* p, const char* limit,
                                                     bool* done) {
  const __m256i lf = _mm256_set1_epi8('\n');
  const __m256i nul = _mm256_setzero_si256();
  const __m256i open = _mm256_set1_epi8('<');
  const __m256i close = _mm256_set1_epi8('>');
  for (; limit - p > 32; p += 32) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 1));
    const auto ends = static_cast<unsigned>(
        _mm256_movemask_epi8(_mm256_or_si256(_mm256_cmpeq_epi8(x, lf), _mm256_cmpeq_epi8(x, nul))));
    const auto pairs = static_cast<unsigned>(_mm256_movemask_epi8(
        _mm256_and_si256(_mm256_cmpeq_epi8(x, open), _mm256_cmpeq_epi8(y, close))));
    if (ends != 0) {
      end_line(ls, p, pairs, ends);
      *done = true;
      return p;
    }
    if (pairs) take_pairs(ls, p, pairs);
  }
  *done = false;
  return p;
}

// The same sixty-four bytes at a time where the processor has AVX-512BW.
__attribute__((target("avx512bw,bmi"))) char* scan_line_wide(LineScan& ls, char* p,
                                                             const char* limit, bool* done) {
  const __m512i lf = _mm512_set1_epi8('\n');
  const __m512i open = _mm512_set1_epi8('<');
  const __m512i close = _mm512_set1_epi8('>');
  for (; limit - p > 64; p += 64) {
    const __m512i x = _mm512_loadu_si512(p);
    const __m512i y = _mm512_loadu_si512(p + 1);
    const uint64_t ends = _mm512_cmpeq_epi8_mask(x, lf) | _mm512_testn_epi8_mask(x, x);
    const uint64_t pairs = _mm512_cmpeq_epi8_mask(x, open) & _mm512_cmpeq_epi8_mask(y, close);
    if (ends != 0) {
      end_line(ls, p, pairs, ends);
      *done = true;
      return p;
    }
    if (pairs) take_pairs(ls, p, pairs);
  }
  *done = false;
  return p;
}
#endif

// Finds the line feed of the line at `line` and its separators: with no `limit` the
// line feed first, then the separators in front of it; with a `limit` up to which the
// buffer may be read, both in one walk.
// `ls` is the caller's own, filled in place rather than returned and copied, once a
// line of every log.
void scan_line(LineScan& ls, char* line, const char* limit) {
#if defined(TZ_HAVE_AVX2_PATH)
  if (limit != nullptr && __builtin_cpu_supports("avx2")) {
    bool done;
    char* p = blocks::wide_vectors() ? scan_line_wide(ls, line, limit, &done)
                                     : scan_line_avx2(ls, line, limit, &done);
    if (done) return;
    // The buffer's last bytes: its NUL lies below `limit`.
    for (; *p != '\n' && *p != '\0'; ++p) {
      if (p[0] == '<' && p[1] == '>' && ls.found < 6) ls.at[ls.found++] = p;
    }
    ls.lfeed = *p == '\n' ? p : nullptr;
    return;
  }
#endif
  (void)limit;
  ls.lfeed = std::strchr(line, '\n');
  if (ls.lfeed) find_seps(ls, line, ls.lfeed);
}

void clear_post_rows(Run& run) {
  run.post.name.clear();
  run.post.mail.clear();
  run.post.date.clear();
  run.post.body.clear();
}

}  // namespace

void next_line(Run& run, char* line, const char* limit) {
  LineFields& lf = run.line;
  for (int i = 1; i <= 6; ++i) lf.fields[i] = nullptr;
  LineScan ls;
  if (line) scan_line(ls, line, limit);
  char* const lfeed = ls.lfeed;
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
  // The separators were found before the line feed and a carriage return became NULs:
  // neither is a '>', so none of them changed.
  int seps = 0;
  if (ls.found) {
    run.sflg.kind = 2;
    for (; seps < ls.found; ++seps) {
      ls.at[seps][0] = ls.at[seps][1] = '\0';
      lf.fields[seps + 1] = ls.at[seps] + 2;
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
  // Slots up to 6 are empty but for the fields just taken.
  if (seps < 7) lf.fields[7] = nullptr;
  if (seps < 8) lf.fields[8] = nullptr;
  if (seps == 5 && run.sflg.k_abroad == 2) {
    const char* f = lf.fields[5];
    lf.lang_tag = "";
    if (std::strncmp(f, "en", 2) == 0)
      lf.lang_tag = " By English";
    else if (std::strncmp(f, "ja", 2) == 0)
      lf.lang_tag = " By Japanese";
    else if (std::strncmp(f, "ko", 2) == 0)
      lf.lang_tag = " By Korean";
    else if (std::strncmp(f, "zh", 2) == 0)
      lf.lang_tag = " By Chinese";
  }
  lf.seps = static_cast<uint8_t>(seps);
  clear_post_rows(run);
}

void next_line(Run& run, char* line) {
  next_line(run, line, nullptr);
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
void take_file_date(Run& run, const os::FileInfo& info, char* file_date) {
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
  reset_source(run);
  const os::FileInfo* info = source_status(run);
  if (info && info->is_dir) return f.kind = 0xFF;
  if (!open_source(run)) return f.kind = 0xFF;
  if (info && (c.ts_kind == 'c' || c.ts_kind == 'm')) take_file_date(run, *info, file_date);

  int head_kb = o_head_kb(c);
  size_t limit = head_kb ? static_cast<size_t>(head_kb) * 1024 : kDefaultHead;
  if (limit > kHeadRoom) limit = kHeadRoom;
  // The head is read into the log buffer, where read_log goes on behind it, and looked
  // at in a copy whose NULs are blanks.
  SourceFile& src = run.source;
  ByteBlock& raw = run.log.sfile;
  if (!raw.grow(limit + 1)) fatal(run, msg(run, Msg::no_memory), 121);
  size_t want =
      info && static_cast<uint64_t>(info->size) < limit ? static_cast<size_t>(info->size) : limit;
  size_t n = os::read_bytes(src.fd, raw.data(), want, &src.failed);
  if (src.failed) src.err = errno;
  if (n == 0) {
    close_source(run);
    return f.kind = 0xFD;
  }
  src.have = n;
  std::vector<char>& head = run.head;
  if (head.size() < kHeadRoom + 16) head.resize(kHeadRoom + 16);
  char* text = head.data();
  std::memcpy(text, raw.data(), n);
  for (char* z = static_cast<char*>(std::memchr(text, '\0', n)); z;
       z = static_cast<char*>(std::memchr(z + 1, '\0', n - static_cast<size_t>(z + 1 - text))))
    *z = ' ';
  std::memset(head.data() + n, 0, 11);

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
    if (d.has_id)
      f.k_machi = 4;
    else
      f.k_shitaraba = 4;
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
