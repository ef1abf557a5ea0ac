// Finding the next byte of a small set in a buffer, sixteen bytes at a time, and copying
// short pieces without a call.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Asks the compiler to inline a small helper of a hot loop, also where it is used
// more than once.
#if defined(__GNUC__)
#define TZ_INLINE __attribute__((always_inline))
#else
#define TZ_INLINE
#endif

namespace tz {

// A set of byte values fixed at compile time (none of them 0), searched for sixteen
// bytes at a time.
template <uint8_t... Cs>
struct AnyOf {
  static_assert(sizeof...(Cs) > 0 && ((Cs != 0) && ...));

  static bool has(uint8_t c) { return ((c == Cs) || ...); }

  // The first byte of [p, end) in the set, or `end`. [lo, end) must be readable, lo <= p:
  // the last bytes are read in one piece from behind when the text is long enough.
  static const char* find(const char* p, const char* end, const char* lo) {
#if defined(__SSE2__)
    while (end - p >= 16) {
      if (unsigned m = mask(p)) return p + __builtin_ctz(m);
      p += 16;
    }
    if (p >= end) return end;
    const auto left = static_cast<unsigned>(end - p);
    unsigned m;
    if (end - lo >= 16) {
      m = mask(end - 16) >> (16 - left);
    } else {
      char buf[16] = {};
      std::memcpy(buf, p, left);
      m = mask(buf) & ((1u << left) - 1);
    }
    return m ? p + __builtin_ctz(m) : end;
#else
    (void)lo;
    while (p < end && !has(static_cast<uint8_t>(*p))) ++p;
    return p;
#endif
  }

 private:
#if defined(__SSE2__)
  static unsigned mask(const char* q) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
    __m128i hit = _mm_setzero_si128();
    ((hit = _mm_or_si128(hit, _mm_cmpeq_epi8(x, _mm_set1_epi8(static_cast<char>(Cs))))), ...);
    return static_cast<unsigned>(_mm_movemask_epi8(hit));
  }
#endif
};

// Copies `n` bytes in a few moves of 16, 8 or 4 bytes that may overlap, neither
// reading nor writing outside the two ranges: most pieces of a field are short, and a
// call of memcpy costs more than they do.
TZ_INLINE inline void copy_bytes(char* dst, const char* src, size_t n) {
  auto move = [&](size_t at, auto unit) {
    std::memcpy(&unit, src + at, sizeof unit);
    std::memcpy(dst + at, &unit, sizeof unit);
  };
  if (n >= 16) {
    struct Block {
      uint64_t a, b;
    };
    size_t at = 0;
    for (; at + 32 <= n; at += 32) {
      move(at, Block{});
      move(at + 16, Block{});
    }
    if (at + 16 <= n) move(at, Block{});
    move(n - 16, Block{});
  } else if (n >= 8) {
    move(0, uint64_t{});
    move(n - 8, uint64_t{});
  } else if (n >= 4) {
    move(0, uint32_t{});
    move(n - 4, uint32_t{});
  } else if (n > 0) {
    dst[0] = src[0];
    dst[n / 2] = src[n / 2];
    dst[n - 1] = src[n - 1];
  }
}

// The last byte `c` in [from, to), or null; [lo, to) must be readable, lo <= from. Sixteen
// bytes at a time from the end: the date reader searches a few bytes at the end of each
// date, where a call of memrchr costs more than the search.
inline const char* last_byte(const char* lo, const char* from, const char* to, char c) {
#if defined(__SSE2__)
  const __m128i want = _mm_set1_epi8(c);
  auto hits_before = [&](const char* end) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(end - 16));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, want)));
  };
  for (; to - from >= 16; to -= 16)
    if (unsigned m = hits_before(to)) return to - 16 + (31 - __builtin_clz(m));
  if (to <= from) return nullptr;
  if (to - lo >= 16) {
    // The bytes before `from` in the last sixteen are no hits.
    const unsigned m = hits_before(to) & (0xFFFFu << (16 - (to - from)));
    return m ? to - 16 + (31 - __builtin_clz(m)) : nullptr;
  }
#else
  (void)lo;
#endif
  while (to > from)
    if (*--to == c) return to;
  return nullptr;
}

// Counts the bytes `a` and the bytes `b` in [p, end) in one pass.
inline void count_two(const char* p, const char* end, char a, char b, size_t* na, size_t* nb) {
  size_t ca = 0;
  size_t cb = 0;
#if defined(__SSE2__)
  // Per-lane counters of 8 bits, summed into the totals before they can overflow.
  const __m128i va = _mm_set1_epi8(a);
  const __m128i vb = _mm_set1_epi8(b);
  const __m128i zero = _mm_setzero_si128();
  while (end - p >= 16) {
    __m128i acc_a = zero;
    __m128i acc_b = zero;
    for (int round = 0; round < 255 && end - p >= 16; ++round, p += 16) {
      __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      acc_a = _mm_sub_epi8(acc_a, _mm_cmpeq_epi8(x, va));
      acc_b = _mm_sub_epi8(acc_b, _mm_cmpeq_epi8(x, vb));
    }
    __m128i sum_a = _mm_sad_epu8(acc_a, zero);
    __m128i sum_b = _mm_sad_epu8(acc_b, zero);
    ca += static_cast<size_t>(_mm_cvtsi128_si32(sum_a)) +
          static_cast<size_t>(_mm_extract_epi16(sum_a, 4));
    cb += static_cast<size_t>(_mm_cvtsi128_si32(sum_b)) +
          static_cast<size_t>(_mm_extract_epi16(sum_b, 4));
  }
#endif
  for (; p < end; ++p) {
    ca += *p == a;
    cb += *p == b;
  }
  *na = ca;
  *nb = cb;
}

}  // namespace tz
