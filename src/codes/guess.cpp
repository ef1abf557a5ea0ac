#include "codes/guess.h"

#include <cstdint>
#include <cstring>
#include <iterator>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "codes/byte_blocks.h"
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
    bool valid =
        (c >= 0xA1 && c <= 0xFE && d >= 0xA1 && d <= 0xFE) || (c == 0x8E && d >= 0xA1 && d <= 0xDF);
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

namespace {

// Texts shorter than this are scored by the passes alone.
constexpr long kBoundedGuess = 4096;

int64_t floor_half(int64_t x) {
  return x >= 0 ? x / 2 : -((-x + 1) / 2);
}

// The range of each count, as its first byte and its span.
struct CountedRange {
  int64_t ByteRanges::*count;
  unsigned lo;
  unsigned span;
};
constexpr CountedRange kCounted[] = {
    {&ByteRanges::high, 0x80, 0x7F},   {&ByteRanges::r80_A0, 0x80, 0x20},
    {&ByteRanges::r8E_8F, 0x8E, 0x01}, {&ByteRanges::r81_9F, 0x81, 0x1E},
    {&ByteRanges::rA1_DF, 0xA1, 0x3E}, {&ByteRanges::rC2_DF, 0xC2, 0x1D},
    {&ByteRanges::rE0_EF, 0xE0, 0x0F}, {&ByteRanges::rF0_FC, 0xF0, 0x0C},
    {&ByteRanges::rFD_FF, 0xFD, 0x02}, {&ByteRanges::rFF, 0xFF, 0x00},
};
constexpr int kCounts = sizeof kCounted / sizeof kCounted[0];

#if defined(__SSE2__)
// 0xFF in each lane of `x` that lies in [lo, lo + span].
inline __m128i in_range(__m128i x, unsigned lo, unsigned span) {
  __m128i d = _mm_sub_epi8(x, _mm_set1_epi8(static_cast<char>(lo)));
  return _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8(static_cast<char>(span))), d);
}
inline int64_t lane_sum(__m128i acc) {
  __m128i sum = _mm_sad_epu8(acc, _mm_setzero_si128());
  return _mm_cvtsi128_si32(sum) + _mm_extract_epi16(sum, 4);
}
#endif

#if defined(__x86_64__)
__attribute__((target("avx2"))) inline __m256i in_range32(__m256i x, unsigned lo, unsigned span) {
  __m256i d = _mm256_sub_epi8(x, _mm256_set1_epi8(static_cast<char>(lo)));
  return _mm256_cmpeq_epi8(_mm256_min_epu8(d, _mm256_set1_epi8(static_cast<char>(span))), d);
}
__attribute__((target("avx2"))) inline int64_t lane_sum32(__m256i acc) {
  __m256i sum = _mm256_sad_epu8(acc, _mm256_setzero_si256());
  return _mm256_extract_epi64(sum, 0) + _mm256_extract_epi64(sum, 1) +
         _mm256_extract_epi64(sum, 2) + _mm256_extract_epi64(sum, 3);
}

// The count of count_ranges, 32 bytes at a time. Returns how many bytes it has counted.
__attribute__((target("avx2"))) size_t count_ranges_avx2(const unsigned char* t, size_t n,
                                                         ByteRanges* r) {
  size_t i = 0;
  while (n - i >= 32) {
    __m256i a[kCounts];
    for (auto& v : a) v = _mm256_setzero_si256();
    for (int round = 0; round < 255 && n - i >= 32; ++round, i += 32) {
      __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t + i));
      if (_mm256_movemask_epi8(x) == 0) continue;  // ASCII only: nothing to count
      for (int k = 0; k < kCounts; ++k)
        a[k] = _mm256_sub_epi8(a[k], in_range32(x, kCounted[k].lo, kCounted[k].span));
    }
    for (int k = 0; k < kCounts; ++k) r->*kCounted[k].count += lane_sum32(a[k]);
  }
  return i;
}

// The count of count_ranges, 64 bytes at a time where the processor has AVX-512BW. Each
// range is the difference of two counts of the bytes from a bound up, and each of those
// is one compare and one masked add per block. `from` gets the counts of `kBounds`.
// Returns how many bytes it has counted.
template <const auto& kBounds>
__attribute__((target("avx512bw"))) size_t count_from_bounds(const unsigned char* t, size_t n,
                                                             int64_t* from) {
  constexpr int kBoundCount = sizeof kBounds / sizeof kBounds[0];
  size_t i = 0;
  const __m512i one = _mm512_set1_epi8(1);
  while (n - i >= 64) {
    __m512i a[kBoundCount];
    for (auto& v : a) v = _mm512_setzero_si512();
    for (int round = 0; round < 255 && n - i >= 64; ++round, i += 64) {
      const __m512i x = _mm512_loadu_si512(t + i);
      if (_mm512_movepi8_mask(x) == 0) continue;  // ASCII only: nothing to count
      for (int k = 0; k < kBoundCount; ++k) {
        const __mmask64 up =
            _mm512_cmpge_epu8_mask(x, _mm512_set1_epi8(static_cast<char>(kBounds[k])));
        a[k] = _mm512_mask_add_epi8(a[k], up, a[k], one);
      }
    }
    for (int k = 0; k < kBoundCount; ++k) {
      alignas(64) int64_t sums[8];
      _mm512_store_si512(sums, _mm512_sad_epu8(a[k], _mm512_setzero_si512()));
      for (int64_t sum : sums) from[k] += sum;
    }
  }
  return i;
}

constexpr unsigned kBounds[] = {0x80, 0x81, 0x8E, 0x90, 0xA0, 0xA1, 0xC2, 0xE0, 0xF0, 0xFD, 0xFF};

size_t count_ranges_wide(const unsigned char* t, size_t n, ByteRanges* r) {
  int64_t from[std::size(kBounds)] = {};
  const size_t i = count_from_bounds<kBounds>(t, n, from);
  auto at = [&](unsigned bound) {
    for (size_t k = 0; k < std::size(kBounds); ++k)
      if (kBounds[k] == bound) return from[k];
    return int64_t{0};
  };
  r->high += at(0x80);
  r->r80_A0 += at(0x80) - at(0xA1);
  r->r8E_8F += at(0x8E) - at(0x90);
  r->r81_9F += at(0x81) - at(0xA0);
  r->rA1_DF += at(0xA1) - at(0xE0);
  r->rC2_DF += at(0xC2) - at(0xE0);
  r->rE0_EF += at(0xE0) - at(0xF0);
  r->rF0_FC += at(0xF0) - at(0xFD);
  r->rFD_FF += at(0xFD);
  r->rFF += at(0xFF);
  return i;
}

// The bounds that the counts of count_floor_ranges need: seven against eleven.
constexpr unsigned kFloorBounds[] = {0x80, 0x8E, 0x90, 0xA1, 0xC2, 0xE0, 0xF0};

size_t count_floor_ranges_wide(const unsigned char* t, size_t n, ByteRanges* r) {
  int64_t from[std::size(kFloorBounds)] = {};
  const size_t i = count_from_bounds<kFloorBounds>(t, n, from);
  r->high += from[0];
  r->r80_A0 += from[0] - from[3];
  r->r8E_8F += from[1] - from[2];
  r->rC2_DF += from[4] - from[5];
  r->rE0_EF += from[5] - from[6];
  r->rF0_FC += from[6];
  return i;
}

bool have_avx2() {
  static const bool yes = __builtin_cpu_supports("avx2");
  return yes;
}
#endif

void count_ranges(const unsigned char* t, size_t n, ByteRanges* r) {
  size_t i = 0;
#if defined(__x86_64__)
  if (n >= 64 && blocks::wide_vectors())
    i = count_ranges_wide(t, n, r);
  else if (n >= 64 && have_avx2())
    i = count_ranges_avx2(t, n, r);
#endif
#if defined(__SSE2__)
  // Counters of 8 bits per lane, summed before they can overflow.
  while (n - i >= 16) {
    __m128i a[kCounts];
    for (auto& v : a) v = _mm_setzero_si128();
    for (int round = 0; round < 255 && n - i >= 16; ++round, i += 16) {
      __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + i));
      if (_mm_movemask_epi8(x) == 0) continue;  // ASCII only: nothing to count
      for (int k = 0; k < kCounts; ++k)
        a[k] = _mm_sub_epi8(a[k], in_range(x, kCounted[k].lo, kCounted[k].span));
    }
    for (int k = 0; k < kCounts; ++k) r->*kCounted[k].count += lane_sum(a[k]);
  }
#endif
  for (; i < n; ++i) {
    unsigned c = t[i];
    if (c < 0x80) continue;
    for (const CountedRange& range : kCounted)
      r->*range.count += static_cast<uint8_t>(c - range.lo) <= range.span;
  }
}

// The counts that bound the EUC-JP and UTF-8 scores against a text swept as Shift_JIS,
// from fewer bounds: 0xF0 to 0xFF count as one range (rF0_FC), and the bytes that only
// the Shift_JIS bound or a penalty of EUC-JP look at (r81_9F, rA1_DF, rFD_FF, rFF) aren't
// counted, which can only raise the EUC-JP bound.
void count_floor_ranges(const unsigned char* t, size_t n, ByteRanges* r) {
#if defined(__x86_64__)
  if (n >= 64 && blocks::wide_vectors()) {
    const size_t i = count_floor_ranges_wide(t, n, r);
    t += i;
    n -= i;
  }
#endif
  ByteRanges rest;
  count_ranges(t, n, &rest);
  r->high += rest.high;
  r->r80_A0 += rest.r80_A0;
  r->r8E_8F += rest.r8E_8F;
  r->rC2_DF += rest.rC2_DF;
  r->rE0_EF += rest.rE0_EF;
  r->rF0_FC += rest.rF0_FC + rest.rFD_FF;
}

// Upper bounds of the three scores of a text with the byte counts `r`, each as
// guess_code decides with it (Shift_JIS halved). The slack covers EUC-JP pairs that
// reach beyond the counted bytes.
struct Bounds {
  int64_t sjis;
  int64_t euc;
  int64_t utf8;
};

Bounds bounds_of(const ByteRanges& r, int64_t euc_slack = 0) {
  // Shift_JIS: at most 4 for a pair, whose first byte is one of the lead range, 1 for a
  // kana byte; FD to FF are never second bytes and cost 30 each.
  int64_t s_bound = floor_half(4 * (r.r81_9F + r.rE0_EF + r.rF0_FC) + r.rA1_DF - 30 * r.rFD_FF);
  // EUC-JP: a pair gains at most 5 and takes two bytes of A1 to FE (an 8E pair 1 for one
  // such byte); a byte of 80 to A0 (but 8E and 8F) or FF is never a second byte and
  // costs 15 each.
  int64_t bad = r.r80_A0 + r.rFF - r.r8E_8F;
  int64_t e_bound = 5 * (r.high - r.r80_A0 - r.rFF) / 2 - 15 * bad + euc_slack;
  // UTF-8: a sequence gains at most its length; every byte of 80 to C1, FE or FF that the
  // sequences can't take as continuation bytes costs at least 1. Starts from F0 on are
  // all counted as the longest (FE and FF among them), which only loosens the bound.
  int64_t long_starts = r.rF0_FC + r.rFD_FF;
  int64_t starts = 2 * r.rC2_DF + 3 * r.rE0_EF + 6 * long_starts;
  int64_t absorbed = r.rC2_DF + 2 * r.rE0_EF + 5 * long_starts;
  int64_t loose = r.high - (r.rC2_DF + r.rE0_EF + long_starts) - absorbed;
  int64_t u_bound = starts - (loose > 0 ? loose : 0);

  return {s_bound, e_bound, u_bound};
}

}  // namespace

ByteRanges count_byte_ranges(const char* text, size_t n) {
  ByteRanges r;
  count_ranges(reinterpret_cast<const unsigned char*>(text), n, &r);
  return r;
}

void add_floor_ranges(const char* text, size_t n, ByteRanges* r) {
  count_floor_ranges(reinterpret_cast<const unsigned char*>(text), n, r);
}

namespace {

// Whether guess_swept may use the bounds on the scores of a swept text of `len` bytes.
bool bounds_apply(size_t len, long limit) {
  return limit > 2 && static_cast<long>(len) <= limit - 2;
}

// The bounds on the scores of a swept text, when guess_swept may use them.
bool swept_bounds(const char* text, size_t len, long limit, Bounds* b) {
  if (!bounds_apply(len, limit)) return false;
  ByteRanges r;
  count_ranges(reinterpret_cast<const unsigned char*>(text), len, &r);
  *b = bounds_of(r);
  return true;
}

bool sjis_wins(int64_t own, const Bounds& b) {
  const int64_t sc = floor_half(own);
  return sc >= b.euc && sc >= b.utf8;
}

}  // namespace

int guess_swept(const char* text, size_t len, long limit, int code, int64_t own) {
  Bounds b;
  if (code < kSjis || code > kUtf8 || !swept_bounds(text, len, limit, &b))
    return guess_code(text, limit);
  switch (code) {
    case kSjis:
      if (sjis_wins(own, b)) return kSjis;
      break;
    case kEuc:
      if (own > b.sjis && own > b.utf8) return kEuc;
      break;
    default:
      if (own > b.sjis && own > b.euc) return kUtf8;
      break;
  }
  return guess_code(text, limit);
}

bool sjis_floor_settles(const ByteRanges& counted, size_t len, long limit, int64_t floor) {
  return bounds_apply(len, limit) && sjis_wins(floor, bounds_of(counted));
}

namespace {

// The length that the passes score: at most limit - 2 bytes, and never beyond the NUL.
long scored_length(const char* text, long limit) {
  if (limit <= 0) return 0;
  long n = static_cast<long>(strnlen(text, static_cast<size_t>(limit)));
  if (limit - 2 < n) n = limit - 2;
  return n < 0 ? 0 : n;
}

int verdict(int64_t s, int64_t e, int64_t u) {
  if (s >= e && s >= u) return kSjis;
  if (e > s && e > u) return kEuc;
  if (u > s && u > e) return kUtf8;
  return kCodeAuto;
}

}  // namespace

int guess_by_passes(const char* text, long limit) {
  long n = scored_length(text, limit);
  const auto* t = reinterpret_cast<const unsigned char*>(text);
  return verdict(sjis_score(t, n), euc_score(t, n), utf8_score(t, n));
}

int guess_code(const char* text, long limit) {
  long n = scored_length(text, limit);
  if (n < kBoundedGuess) return guess_by_passes(text, limit);
  const auto* t = reinterpret_cast<const unsigned char*>(text);
  // Bounds from a count of the bytes before index n spare most texts one or two of the
  // passes. The EUC-JP pass also starts a pair at index n, with its second byte behind
  // it: the pairs at n - 1 and n gain at most 8 more than the count allows. (The
  // Shift_JIS score is always counted, its bound never needed.)
  ByteRanges r;
  count_ranges(t, static_cast<size_t>(n), &r);
  Bounds b = bounds_of(r, 8);
  int64_t s = sjis_score(t, n);
  if (s >= b.euc && s >= b.utf8) return kSjis;
  int64_t e = euc_score(t, n);
  if (e > s && e > b.utf8) return kEuc;
  return verdict(s, e, utf8_score(t, n));
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
