// Finding the next byte of a small set in a buffer, sixteen bytes at a time.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tz {

// A set of at most eight byte values, made from a table of 256 flags.
class ByteSet {
 public:
  explicit ByteSet(const std::array<uint8_t, 256>& table) {
    for (int c = 0; c < 256 && count_ < kMax; ++c) {
      if (!table[c]) continue;
      values_[count_] = static_cast<uint8_t>(c);
#if defined(__SSE2__)
      vec_[count_] = _mm_set1_epi8(static_cast<char>(c));
#endif
      ++count_;
    }
    flags_ = table;
  }

  // The first byte of [p, end) in the set, or `end`.
  const char* find(const char* p, const char* end) const {
#if defined(__SSE2__)
    while (end - p >= 16) {
      __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      __m128i hit = _mm_cmpeq_epi8(x, vec_[0]);
      for (int i = 1; i < count_; ++i) hit = _mm_or_si128(hit, _mm_cmpeq_epi8(x, vec_[i]));
      int mask = _mm_movemask_epi8(hit);
      if (mask) return p + __builtin_ctz(static_cast<unsigned>(mask));
      p += 16;
    }
#endif
    while (p < end && !flags_[static_cast<uint8_t>(*p)]) ++p;
    return p;
  }

 private:
  static constexpr int kMax = 8;
  uint8_t values_[kMax] = {};
  int count_ = 0;
  std::array<uint8_t, 256> flags_{};
#if defined(__SSE2__)
  __m128i vec_[kMax];
#endif
};

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
