// Blocks of 64 bytes as bit masks (bit k for byte k), for the sweeps that pass over whole
// blocks of a log at once instead of byte by byte.
#pragma once

#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tz::blocks {

// Set by sweep_narrow: the loops keep to their narrower forms whatever the processor has,
// so that the tests check those forms too.
inline bool narrow_only = false;

#if defined(__x86_64__)
// Whether the wide forms may run: the processor has AVX-512BW (and VL, for 32-byte
// vectors with masks).
inline bool wide_vectors() {
  static const bool yes = __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
  return yes && !narrow_only;
}

// Whether bytes may also be packed (AVX-512 VBMI2, with BMI2 for the masks).
inline bool compress_bytes() {
  static const bool yes = __builtin_cpu_supports("avx512bw") &&
                          __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi2");
  return yes && !narrow_only;
}
#endif

constexpr uint64_t kOddBits = 0xAAAAAAAAAAAAAAAAull;

// Of the runs of set bits in `run`, each beginning where a character begins, the bits at an
// even distance from the start of their run: where the pairs of a run of lead bytes begin.
// Adding the run's first bit where it stands at an odd place carries through the run and
// clears it; the runs that stay are those beginning at an even place.
inline uint64_t pair_starts(uint64_t run) {
  uint64_t first = run & ~(run << 1);
  uint64_t even_runs = (run + (first & kOddBits)) & run;
  return run & (even_runs ^ kOddBits);
}

// Set bits of `a`, and `weight` times those of `starts`, whose bits stand two apart at
// least (first bytes of pairs), in one count; the build targets any x86-64, which may lack
// a popcount instruction. With a weight up to 5 a field of four bits holds at most
// 4 + 2 * 5, one of eight bits 28, and the whole 64 + 32 * 5.
inline int count_bits_weighted(uint64_t a, uint64_t starts, unsigned weight) {
  a -= (a >> 1) & 0x5555555555555555ull;
  starts -= (starts >> 1) & 0x5555555555555555ull;
  a = (a & 0x3333333333333333ull) + ((a >> 2) & 0x3333333333333333ull);
  starts = (starts & 0x3333333333333333ull) + ((starts >> 2) & 0x3333333333333333ull);
  uint64_t m = a + weight * starts;
  m = (m & 0x0F0F0F0F0F0F0F0Full) + ((m >> 4) & 0x0F0F0F0F0F0F0F0Full);
  return static_cast<int>((m * 0x0101010101010101ull) >> 56);
}

// The place of the lowest set bit of a mask that isn't 0.
inline unsigned lowest_bit(uint64_t m) {
  return static_cast<unsigned>(__builtin_ctzll(m));
}

#if defined(__SSE2__)
// Bytes from `lo` to `hi` (hi - lo below 255): moved so that `lo` lands on -128, a signed
// compare tells the range.
inline __m128i in_range(__m128i x, unsigned lo, unsigned hi) {
  __m128i moved = _mm_add_epi8(x, _mm_set1_epi8(static_cast<char>(0x80 - lo)));
  return _mm_cmplt_epi8(moved, _mm_set1_epi8(static_cast<char>(0x80 + (hi - lo) + 1)));
}

// The bytes outside `lo` to `hi`.
inline __m128i out_of_range(__m128i x, unsigned lo, unsigned hi) {
  __m128i moved = _mm_add_epi8(x, _mm_set1_epi8(static_cast<char>(0x80 - lo)));
  return _mm_cmpgt_epi8(moved, _mm_set1_epi8(static_cast<char>(0x80 + (hi - lo))));
}

inline __m128i equal(__m128i x, unsigned c) {
  return _mm_cmpeq_epi8(x, _mm_set1_epi8(static_cast<char>(c)));
}

inline __m128i load16(const unsigned char* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// The bits of the 16 flags in `v` (each 0 or 0xFF), placed as the `part`-th of a block.
inline uint64_t bits16(__m128i v, int part) {
  return static_cast<uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(v))) << (16 * part);
}
#endif

#if defined(__x86_64__)
// The bytes of a 64-byte vector from `lo` to `hi`, one bit each (AVX-512BW).
__attribute__((target("avx512bw"))) inline uint64_t in_range64(__m512i x, unsigned lo,
                                                               unsigned hi) {
  return _mm512_cmple_epu8_mask(_mm512_sub_epi8(x, _mm512_set1_epi8(static_cast<char>(lo))),
                                _mm512_set1_epi8(static_cast<char>(hi - lo)));
}

__attribute__((target("avx512bw"))) inline uint64_t equal64(__m512i x, unsigned c) {
  return _mm512_cmpeq_epi8_mask(x, _mm512_set1_epi8(static_cast<char>(c)));
}
#endif

}  // namespace tz::blocks
