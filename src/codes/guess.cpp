#include "codes/guess.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "common/byte_tables.h"
#include "run/run.h"

namespace tz {

namespace {

// The number of bytes below 0x80 at `p`, looking at no more than `room` bytes. No score
// counts such bytes where a character may begin, so the passes jump over them.
inline long ascii_prefix(const unsigned char* p, long room) {
  long k = 0;
#if defined(__SSE2__)
  while (k + 16 <= room) {
    int high = _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + k)));
    if (high) return k + __builtin_ctz(static_cast<unsigned>(high));
    k += 16;
  }
#endif
  while (k < room && p[k] < 0x80) ++k;
  return k;
}

// Scores are 64-bit: a long text of bad bytes would run a 32-bit one out of range.
int64_t euc_score(const unsigned char* t, long n) {
  int64_t e = 0;
  long i = 0;
  while (i <= n) {
    unsigned c = t[i];
    if (c <= 0x7F) {
      i += ascii_prefix(t + i, n + 1 - i);
      continue;
    }
    if (c == 0x8F) {
      ++i;
      continue;
    }
    unsigned d = t[i + 1];
    bool valid = (c >= 0xA1 && c <= 0xFE && d >= 0xA1 && d <= 0xFE) ||
                 (c == 0x8E && d >= 0xA1 && d <= 0xDF);
    if (!valid) {
      e -= 15;
      ++i;
      continue;
    }
    i += 2;
    unsigned v = (c << 8) | d;
    e += ((v >= 0xB0A1 && v <= 0xF4FE) || c == 0x8E) ? 1 : 2;
    if (c == 0xA4 || c == 0xA5) e += 3;
  }
  return e;
}

int64_t sjis_score(const unsigned char* t, long n) {
  int64_t s = 0;
  long i = 0;
  while (i <= n) {
    unsigned c = t[i];
    if (c <= 0x7F) {
      i += ascii_prefix(t + i, n + 1 - i);
      continue;
    }
    if (c >= 0xA1 && c <= 0xDF) {
      s += 1;
      ++i;
      continue;
    }
    unsigned d = t[i + 1];
    if ((tbl::sjis[c] & tbl::kLead) && (tbl::sjis[d] & tbl::kTrail)) {
      unsigned v = (c << 8) | d;
      s += (v >= 0x989F && v <= 0xEAA4) ? 2 : 4;
      i += 2;
    } else {
      s -= 30;
      ++i;
    }
  }
  // Halved, rounding towards minus infinity.
  return s >= 0 ? s / 2 : -((-s + 1) / 2);
}

int64_t utf8_score(const unsigned char* t, long n) {
  int64_t u = 0;
  int state = 1;
  int len = 0;
  for (long i = 0; i < n; ++i) {
    unsigned b = t[i];
    if (state == 1) {
      if (b <= 0x7F) {
        i += ascii_prefix(t + i, n - i) - 1;
        continue;
      }
      if (b < 0xC2 || b > 0xFD) {
        u -= 1;
        continue;
      }
      len = b <= 0xDF ? 2 : b <= 0xEF ? 3 : b <= 0xF7 ? 4 : b <= 0xFB ? 5 : 6;
      state = len;
    } else if ((b & 0xC0) == 0x80) {
      if (--state == 1) u += len;
    } else {
      state = 1;
      u -= 10;
    }
  }
  return u;
}

}  // namespace

int guess_code(const char* text, long limit) {
  // The passes read at most limit bytes: the length is looked for no further either.
  long n = 0;
  if (limit > 0) {
    n = static_cast<long>(strnlen(text, static_cast<size_t>(limit)));
    if (limit - 2 < n) n = limit - 2;
    if (n < 0) n = 0;
  }
  const auto* t = reinterpret_cast<const unsigned char*>(text);
  int64_t e = euc_score(t, n);
  int64_t s = sjis_score(t, n);
  int64_t u = utf8_score(t, n);
  if (s >= e && s >= u) return kSjis;
  if (e > s && e > u) return kEuc;
  if (u > s && u > e) return kUtf8;
  return kCodeAuto;
}

int choose_code(Run& run, int which) {
  int in = run.sflg.code_in;
  if (in > kUtf8) return in;
  if (which == 0) {
    if (int forced = m_forced_out(run.cmdm)) return forced;
    return in ? in : kSjis;
  }
  if (run.cmdm.i_code) return run.cmdm.i_code;
  return which == 1 ? run.tpl_code_list : run.tpl_code_tree;
}

}  // namespace tz
