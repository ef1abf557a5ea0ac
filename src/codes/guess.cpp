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

namespace {

int64_t floor_half(int64_t x) { return x >= 0 ? x / 2 : -((-x + 1) / 2); }

// Counts the bytes from 0x80 up in [t, t + n). Four tables by position, so that a byte
// repeated every other place (the first byte of kana) doesn't wait on its own count.
void count_high_bytes(const unsigned char* t, size_t n, uint64_t counts[128]) {
  uint32_t part[4][128] = {};
  size_t i = 0;
  while (i < n) {
    if (t[i] < 0x80) {
      i += static_cast<size_t>(ascii_prefix(t + i, static_cast<long>(n - i)));
      continue;
    }
    ++part[(i >> 1) & 3][t[i] - 0x80];
    ++i;
    if ((i & 0x3FFFFFF) == 0) {  // empty the 32-bit tables long before they could overflow
      for (auto& p : part)
        for (int c = 0; c < 128; ++c) counts[c] += p[c], p[c] = 0;
    }
  }
  for (auto& p : part)
    for (int c = 0; c < 128; ++c) counts[c] += p[c];
}

}  // namespace

int guess_swept(const char* text, long limit, int code, int64_t own) {
  if (code < kSjis || code > kUtf8 || limit <= 2) return guess_code(text, limit);
  size_t len = strnlen(text, static_cast<size_t>(limit));
  if (static_cast<long>(len) > limit - 2) return guess_code(text, limit);
  const auto* t = reinterpret_cast<const unsigned char*>(text);
  uint64_t counts[128] = {};
  count_high_bytes(t, len, counts);
  auto range = [&](unsigned lo, unsigned hi) {
    int64_t sum = 0;
    for (unsigned c = lo; c <= hi; ++c) sum += static_cast<int64_t>(counts[c - 0x80]);
    return sum;
  };
  // Shift_JIS: at most 4 for a pair, whose first byte is one of the lead range, 1 for a
  // kana byte; FD to FF are never second bytes and cost 30 each.
  int64_t s_bound = floor_half(4 * (range(0x81, 0x9F) + range(0xE0, 0xFC)) + range(0xA1, 0xDF) -
                               30 * range(0xFD, 0xFF));
  // EUC-JP: a pair gains at most 5 and takes two bytes of A1 to FE (an 8E pair 1 for one
  // such byte); a byte of 80 to A0 (but 8E and 8F) or FF is never a second byte and
  // costs 15 each.
  int64_t bad = range(0x80, 0xA0) + range(0xFF, 0xFF) - range(0x8E, 0x8F);
  int64_t e_bound = 5 * range(0xA1, 0xFE) / 2 - 15 * bad;
  // UTF-8: a sequence gains at most its length; every byte of 80 to C1, FE or FF that the
  // sequences can't take as continuation bytes costs at least 1.
  int64_t starts = 2 * range(0xC2, 0xDF) + 3 * range(0xE0, 0xEF) + 4 * range(0xF0, 0xF7) +
                   5 * range(0xF8, 0xFB) + 6 * range(0xFC, 0xFD);
  int64_t absorbed = starts - (range(0xC2, 0xFD));
  int64_t loose = range(0x80, 0xC1) + range(0xFE, 0xFF) - absorbed;
  int64_t u_bound = starts - (loose > 0 ? loose : 0);

  switch (code) {
    case kSjis: {
      int64_t sc = floor_half(own);
      if (sc >= e_bound && sc >= u_bound) return kSjis;
      break;
    }
    case kEuc:
      if (own > s_bound && own > u_bound) return kEuc;
      break;
    default:
      if (own > s_bound && own > e_bound) return kUtf8;
      break;
  }
  return guess_code(text, limit);
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
