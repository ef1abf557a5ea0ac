#include "codes/convert.h"

#include <array>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "codes/byte_blocks.h"
#include "codes/code_tables.h"
#include "codes/cp932.h"
#include "codes/guess.h"
#include "common/byte_search.h"
#include "common/byte_tables.h"
#include "run/fatal.h"
#include "run/run.h"

namespace tz {

namespace {

// The arithmetic of JIS X 0208 between the two codes, as tables over bytes.
constexpr uint8_t kBlank = 0x20;

constexpr std::array<uint8_t, 256> make_euc_lead() {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    if (c >= 0xA1 && c <= 0xDE)
      t[c] = static_cast<uint8_t>(0x81 + (c - 0xA1) / 2);
    else if (c >= 0xDF && c <= 0xFE)
      t[c] = static_cast<uint8_t>(0xE0 + (c - 0xDF) / 2);
    else if (c == 0xA0 || c == 0xFF)
      t[c] = kBlank;
    else
      t[c] = static_cast<uint8_t>(c);
  }
  return t;
}
constexpr std::array<uint8_t, 256> make_euc_trail(bool odd) {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    if (c == 0xA0 || c == 0xFF)
      t[c] = kBlank;
    else if (c < 0xA1)
      t[c] = static_cast<uint8_t>(c);
    else if (!odd)
      t[c] = static_cast<uint8_t>(0x9F + (c - 0xA1));
    else if (c <= 0xDF)
      t[c] = static_cast<uint8_t>(0x40 + (c - 0xA1));
    else
      t[c] = static_cast<uint8_t>(0x80 + (c - 0xE0));
  }
  return t;
}
constexpr std::array<uint8_t, 256> make_sjis_lead(bool even) {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    int v;
    if (c < 0x80)
      v = c;
    else if (c >= 0x81 && c <= 0x9F)
      v = 0xA1 + 2 * (c - 0x81) + (even ? 1 : 0);
    else if (c >= 0xE0 && c <= 0xEF)
      v = 0xDF + 2 * (c - 0xE0) + (even ? 1 : 0);
    else if (c >= 0xF0 && c <= 0xF9)
      v = 1;
    else if (c >= 0xFA && c <= 0xFC)
      v = 3;
    else
      v = kBlank;
    t[c] = static_cast<uint8_t>(v);
  }
  return t;
}
constexpr std::array<uint8_t, 256> make_sjis_trail() {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    int v;
    if (c < 0x40)
      v = c;
    else if (c <= 0x7E)
      v = 0xA1 + (c - 0x40);
    else if (c == 0x7F)
      v = kBlank;
    else if (c <= 0x9E)
      v = 0xE0 + (c - 0x80);
    else if (c <= 0xFC)
      v = 0xA1 + (c - 0x9F);
    else if (c == 0xFD)
      v = 0xFF;
    else
      v = kBlank;
    t[c] = static_cast<uint8_t>(v);
  }
  return t;
}

constexpr auto kEucLead = make_euc_lead();
constexpr auto kEucTrailOdd = make_euc_trail(true);
constexpr auto kEucTrailEven = make_euc_trail(false);
constexpr auto kSjisLeadOdd = make_sjis_lead(false);
constexpr auto kSjisLeadEven = make_sjis_lead(true);
constexpr auto kSjisTrail = make_sjis_trail();

inline unsigned char* ubytes(char* p) {
  return reinterpret_cast<unsigned char*>(p);
}

// Writes `out` over `text` (room `size`) with a NUL, cut to fit.
size_t write_back(char* text, const std::string& out, size_t cut, size_t size) {
  size_t n = out.size() < cut ? out.size() : cut;
  if (size == 0) return 0;
  if (n > size - 1) n = size - 1;
  std::memcpy(text, out.data(), n);
  text[n] = '\0';
  return n;
}

// What the sweep of a Shift_JIS text does with a first byte: keep it, look at the pair
// it leads, or put the byte through tbl::ctrl_blank (a blank for an invalid first byte).
enum : uint8_t { kKeep = 0, kPair = 1, kSweep = 2 };
constexpr std::array<uint8_t, 256> make_sjis_action() {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    uint8_t cls = tbl::sjis[c];
    if (cls & (tbl::kSingle | tbl::kKana))
      t[c] = tbl::ctrl_blank[c] == c ? kKeep : kSweep;
    else if (cls & tbl::kLead)
      t[c] = kPair;
    else
      t[c] = kSweep;
  }
  return t;
}
constexpr auto kSjisAction = make_sjis_action();

// What a Shift_JIS sweep scores: nothing, the score that guess_code gives the swept text
// (before halving; the sweep parses the text as the guess does), or a floor of that score
// in which every pair counts 2, the lower of its two values. The floor spares the sweep
// the bytes that decide a pair's value, and mostly settles the guess as well.
enum Scoring { kNoScore, kFloor, kExact };

// Sweeps a Shift_JIS text from `i`, where a character begins, to its end; returns what
// kScore asks of the text from `from` on.
template <Scoring kScore>
int64_t clean_sjis_from(unsigned char* t, size_t n, size_t from, size_t i) {
  constexpr bool kScored = kScore != kNoScore;
  int64_t score = 0;
  if (n == 0) return score;
  const size_t last = n - 1;  // a pair needs its second byte inside the text
  while (i < last) {
    unsigned c = t[i];
    uint8_t action = kSjisAction[c];
    if (action == kPair) {
      unsigned d = t[i + 1];
      if (tbl::sjis[d] & tbl::kTrail) {
        if (kScored && i >= from) {
          unsigned v = (c << 8) | d;
          score += kScore == kFloor || (v >= 0x989F && v <= 0xEAA4) ? 2 : 4;
        }
        i += 2;
      } else {
        t[i] = kBlank;
        ++i;
      }
    } else if (action == kKeep) {
      if (kScored && c >= 0x80 && i >= from) score += c >= 0xFD ? -30 : 1;
      ++i;
    } else {
      t[i] = (tbl::sjis[c] & (tbl::kSingle | tbl::kKana)) ? tbl::ctrl_blank[c] : kBlank;
      ++i;
    }
  }
  if (i < n) {
    unsigned c = tbl::ctrl_blank[t[i]];
    if (tbl::sjis[c] & tbl::kLead) c = kBlank;
    t[i] = static_cast<unsigned char>(c);
    if (kScored && c >= 0x80 && i >= from) score += (c >= 0xA1 && c <= 0xDF) ? 1 : -30;
  }
  return score;
}

#if defined(__SSE2__)
// Which characters of a block count for the score: those that begin at `from` or later.
inline uint64_t counted_bits(size_t i, size_t from) {
  if (i >= from) return ~0ull;
  return from - i >= 64 ? 0 : ~0ull << (from - i);
}

// The bytes of a block of 64 that the Shift_JIS sweep looks at, one bit each.
struct SjisMasks {
  uint64_t lead = 0;   // 0x81-0x9F, 0xE0-0xFC
  uint64_t trail = 0;  // 0x40-0x7E, 0x80-0xFC
  uint64_t kana = 0;   // 0xA0-0xDF: 0xA0 is taken back where it becomes a blank
  uint64_t mid = 0;    // first bytes of the pairs that score 2, and 0x98 and 0xEA
  uint64_t rare = 0;   // controls that become blanks, 0x80, 0xA0, 0xFD-0xFF; with the
                       // exact score 0x98 and 0xEA
  uint64_t lf = 0;     // line ends, when they are counted
  uint64_t cr = 0;
};

// The controls that stay as they are: TAB to CR and 0x1A. A line in a log ends in one, so
// they are no rare bytes.
template <Scoring kScore, bool kCount>
inline SjisMasks sjis_masks(const unsigned char* p) {
  using namespace blocks;
  SjisMasks m;
  for (int k = 0; k < 4; ++k) {
    __m128i x = load16(p + 16 * k);
    __m128i high = in_range(x, 0x81, 0xFC);
    __m128i half = in_range(x, 0xA0, 0xDF);
    __m128i stray = equal(_mm_and_si128(x, _mm_set1_epi8(static_cast<char>(0xDF))), 0x80);
    __m128i kept = _mm_or_si128(in_range(x, 0x09, 0x0D), equal(x, 0x1A));
    __m128i odd = _mm_or_si128(stray, _mm_andnot_si128(kept, out_of_range(x, 0x20, 0xFC)));
    if (kCount) {
      m.lf |= bits16(equal(x, '\n'), k);
      m.cr |= bits16(equal(x, '\r'), k);
    }
    m.lead |= bits16(_mm_andnot_si128(half, high), k);
    m.trail |= bits16(_mm_or_si128(_mm_or_si128(high, stray), in_range(x, 0x40, 0x7E)), k);
    if (kScore != kNoScore) m.kana |= bits16(half, k);
    if (kScore == kExact) {
      m.mid |= bits16(in_range(x, 0x98, 0xEA), k);
      odd = _mm_or_si128(odd, _mm_or_si128(equal(x, 0x98), equal(x, 0xEA)));
    }
    m.rare |= bits16(odd, k);
  }
  return m;
}

#if defined(__x86_64__)
// The same masks from one 64-byte vector, where the processor has AVX-512BW.
template <Scoring kScore, bool kCount>
__attribute__((target("avx512bw"))) inline SjisMasks sjis_masks_wide(const unsigned char* p) {
  using blocks::equal64;
  using blocks::in_range64;
  __m512i x = _mm512_loadu_si512(p);
  uint64_t high = in_range64(x, 0x81, 0xFC);
  uint64_t half = in_range64(x, 0xA0, 0xDF);
  uint64_t stray = equal64(_mm512_and_si512(x, _mm512_set1_epi8(static_cast<char>(0xDF))), 0x80);
  uint64_t kept = in_range64(x, 0x09, 0x0D) | equal64(x, 0x1A);
  SjisMasks m;
  m.lead = high & ~half;
  m.trail = high | stray | in_range64(x, 0x40, 0x7E);
  m.rare = stray | (~in_range64(x, 0x20, 0xFC) & ~kept);
  if (kCount) {
    m.lf = equal64(x, '\n');
    m.cr = equal64(x, '\r');
  }
  if (kScore != kNoScore) m.kana = half;
  if (kScore == kExact) {
    m.mid = in_range64(x, 0x98, 0xEA);
    m.rare |= equal64(x, 0x98) | equal64(x, 0xEA);
  }
  return m;
}
#endif

// One block of the sweep at `i`, from its masks. A run of lead bytes begins where a
// character begins (the byte before it leads nothing), so its pairs follow from where the
// run begins; an odd run pairs its last byte with the byte behind the block, if that one
// may trail. `carry` is 1 when t[i] is the second byte of a pair begun in the block before.
template <Scoring kScore, bool kCount>
inline void sweep_sjis_block(unsigned char* t, size_t i, const SjisMasks& b, size_t from,
                             uint64_t& carry, int64_t& sum, LineEnds& ends) {
  using namespace blocks;
  uint64_t next_trails = (tbl::sjis[t[i + 64]] & tbl::kTrail) ? 1 : 0;
  uint64_t trailed = (b.trail >> 1) | (next_trails << 63);
  // The pairs are worked out both ways, with and without a second byte at bit 0, and the
  // carry picks one: the carry from block to block is then two steps, not the whole work.
  const uint64_t first_if_not = pair_starts(b.lead);
  const uint64_t first_if = pair_starts(b.lead & ~1ull);
  const uint64_t pick = 0 - carry;
  uint64_t first = first_if_not ^ ((first_if_not ^ first_if) & pick);  // where characters begin
  uint64_t pair = first & trailed;
  uint64_t second = (pair << 1) | carry;
  const uint64_t out_if_not = (first_if_not & trailed) >> 63;
  carry = out_if_not ^ ((out_if_not ^ ((first_if & trailed) >> 63)) & carry);
  constexpr bool kScored = kScore != kNoScore;
  uint64_t counted = kScored ? counted_bits(i, from) : 0;
  if (kCount) {
    ends.lf += static_cast<size_t>(__builtin_popcountll(b.lf));
    ends.cr += static_cast<size_t>(__builtin_popcountll(b.cr));
  }

  for (uint64_t m = first & ~trailed; m; m &= m - 1) t[i + lowest_bit(m)] = kBlank;
  // Controls and 0xFD-0xFF never trail; 0x80 and 0xA0 become blanks unless they trail;
  // 0x98 and 0xEA begin pairs whose second byte decides the score.
  for (uint64_t m = b.rare; m; m &= m - 1) {
    unsigned bit = lowest_bit(m);
    unsigned c = t[i + bit];
    if (c < 0x20) {
      t[i + bit] = tbl::ctrl_blank[c];
    } else if (c >= 0xFD) {
      if (kScored && (counted >> bit & 1)) sum -= 30;
    } else if (c == 0x80 || c == 0xA0) {
      if (second >> bit & 1) continue;
      t[i + bit] = kBlank;
      if (kScored && c == 0xA0 && (counted >> bit & 1)) --sum;
    } else if (kScore == kExact && (pair & counted) >> bit & 1) {
      // 0x98 and 0xEA count as 2 below; the second byte decides.
      unsigned v = (c << 8) | t[i + bit + 1];
      if (v < 0x989F || v > 0xEAA4) sum += 2;
    }
  }
  if (kScored) {
    // A pair counts 4, or 2 with its first byte in `mid`; a kana alone 1. Each pair is
    // counted once by either of its two bytes, and again if its first byte isn't mid.
    // The floor counts every pair 2.
    uint64_t p = pair & counted;
    uint64_t once = p | (p << 1) | (b.kana & ~second & counted);
    if (kScore == kExact)
      sum += count_bits_weighted(once, p & ~b.mid, 2) + static_cast<int64_t>(p >> 63);
    else
      sum += __builtin_popcountll(once) + static_cast<int64_t>(p >> 63);
  }
}

// The sweep of a Shift_JIS text, 64 bytes at a time while a byte follows the block, so that
// a lead byte at its end is known to pair or not. It goes on from `st` over the first `n`
// bytes; the byte-wise sweep goes on at st.i + st.carry, the start of a character.
template <Scoring kScore, bool kCount>
void clean_sjis_blocks(unsigned char* t, size_t n, size_t from, BlockSweep& st) {
  int64_t sum = 0;
  uint64_t carry = st.carry;
  size_t i = st.i;
  for (; i + 64 < n; i += 64)
    sweep_sjis_block<kScore, kCount>(t, i, sjis_masks<kScore, kCount>(t + i), from, carry, sum,
                                     st.ends);
  st.score += sum;
  st.i = i;
  st.carry = carry;
}

#if defined(__x86_64__)
// The same loop built for AVX-512BW: the wide masks can only be made inline in a function
// of that target, and the block's bit work is inlined into either.
template <Scoring kScore, bool kCount>
__attribute__((target("avx512bw,popcnt"))) void clean_sjis_blocks_wide(unsigned char* t, size_t n,
                                                                       size_t from,
                                                                       BlockSweep& st) {
  int64_t sum = 0;
  uint64_t carry = st.carry;
  size_t i = st.i;
  for (; i + 64 < n; i += 64)
    sweep_sjis_block<kScore, kCount>(t, i, sjis_masks_wide<kScore, kCount>(t + i), from, carry, sum,
                                     st.ends);
  st.score += sum;
  st.i = i;
  st.carry = carry;
}

#endif
#endif

// The blocks of the sweep from where `st` stands, in the widest vectors the processor has.
template <Scoring kScore, bool kCount>
void sweep_sjis_blocks(unsigned char* t, size_t n, size_t from, BlockSweep& st) {
#if defined(__SSE2__) && defined(__x86_64__)
  if (blocks::wide_vectors())
    clean_sjis_blocks_wide<kScore, kCount>(t, n, from, st);
  else
    clean_sjis_blocks<kScore, kCount>(t, n, from, st);
#elif defined(__SSE2__)
  clean_sjis_blocks<kScore, kCount>(t, n, from, st);
#else
  (void)t, (void)n, (void)from, (void)st;
#endif
}

// The blocks left, then the rest byte by byte. With kCount, `ends` gets the line ends of
// the swept text: the blocks count them as they pass the controls, and the few bytes
// behind the blocks are counted apart.
template <Scoring kScore, bool kCount>
int64_t finish_sjis(unsigned char* t, size_t n, size_t from, BlockSweep& st, LineEnds* ends) {
  sweep_sjis_blocks<kScore, kCount>(t, n, from, st);
  const size_t i = st.i + st.carry;
  const int64_t score = st.score + clean_sjis_from<kScore>(t, n, from, i);
  if (kCount) {
    const char* rest = reinterpret_cast<const char*>(t);
    *ends = st.ends;
    size_t lf = 0;
    size_t cr = 0;
    count_two(rest + i, rest + n, '\n', '\r', &lf, &cr);
    ends->lf += lf;
    ends->cr += cr;
  }
  return score;
}

template <Scoring kScore, bool kCount = false>
int64_t clean_sjis(unsigned char* t, size_t n, size_t from, LineEnds* ends = nullptr) {
  BlockSweep st;
  return finish_sjis<kScore, kCount>(t, n, from, st, ends);
}

// Sweeps an EUC-JP text from `i`, where a character begins, to its end; with kScore it
// also returns the score that guess_code gives the swept text from `from` on.
template <bool kScore>
int64_t clean_euc_from(unsigned char* t, size_t n, size_t from, size_t i) {
  int64_t score = 0;
  while (i < n) {
    unsigned c = tbl::ctrl_blank[t[i]];
    t[i] = static_cast<unsigned char>(c);
    if (c > 0x7F && c != 0x8F) {
      unsigned d = i + 1 < n ? t[i + 1] : 0;
      bool valid = (c >= 0xA1 && c <= 0xFE && d >= 0xA1 && d <= 0xFE) ||
                   (c == 0x8E && d >= 0xA1 && d <= 0xDF);
      if (valid) {
        if (kScore && i >= from) {
          unsigned v = (c << 8) | d;
          score += ((v >= 0xB0A1 && v <= 0xF4FE) || c == 0x8E) ? 1 : 2;
          if (c == 0xA4 || c == 0xA5) score += 3;
        }
        i += 2;
        continue;
      }
      t[i] = kBlank;
    }
    ++i;
  }
  return score;
}

#if defined(__SSE2__)
// The sweep of an EUC-JP text, 64 bytes at a time while a byte follows the block. Only
// 0xA1-0xFE may trail, after a byte of that range or after 0x8E: what stands before a run
// of them is a character of its own or 0x8E, whose kana is the run's first byte; past that,
// the pairs of the run follow from where it begins, and the last byte of an odd run has
// nothing to pair with. Returns where the byte-wise sweep goes on, at a character's start.
template <bool kScore>
size_t clean_euc_blocks(unsigned char* t, size_t n, size_t from, int64_t* score) {
  using namespace blocks;
  int64_t sum = 0;
  size_t i = 0;
  uint64_t carry = 0;  // 1 when t[i] is the second byte of a pair begun in the block before
  for (; i + 64 < n; i += 64) {
    uint64_t both = 0;   // 0xA1-0xFE, first or second byte of a pair
    uint64_t plain = 0;  // 0x20-0x7F, 0x8F, 0xA1-0xFE
    uint64_t one = 0;    // first bytes of the pairs that score 1
    uint64_t row = 0;    // 0xA4 and 0xA5, the rows of hiragana and katakana
    for (int k = 0; k < 4; ++k) {
      __m128i x = load16(t + i + 16 * k);
      __m128i pairs = in_range(x, 0xA1, 0xFE);
      __m128i single = _mm_or_si128(in_range(x, 0x20, 0x7F), equal(x, 0x8F));
      both |= bits16(pairs, k);
      plain |= bits16(_mm_or_si128(pairs, single), k);
      if (kScore) {
        one |= bits16(in_range(x, 0xB0, 0xF4), k);
        row |= bits16(equal(_mm_and_si128(x, _mm_set1_epi8(static_cast<char>(0xFE))), 0xA4), k);
      }
    }
    // Controls, 0x8E and the bytes that begin no pair are rare; none of them trails.
    uint64_t kana_pair = 0;  // 0x8E before a kana
    for (uint64_t m = ~plain; m; m &= m - 1) {
      unsigned bit = lowest_bit(m);
      unsigned c = t[i + bit];
      unsigned d = t[i + bit + 1];
      if (c == 0x8E && d >= 0xA1 && d <= 0xDF)
        kana_pair |= uint64_t{1} << bit;
      else
        t[i + bit] = c < 0x20 ? tbl::ctrl_blank[c] : kBlank;
    }
    unsigned next = t[i + 64];
    uint64_t both_next = (both >> 1) | (static_cast<uint64_t>(next >= 0xA1 && next <= 0xFE) << 63);
    uint64_t first = pair_starts(both & ~((kana_pair << 1) | carry));
    uint64_t pair = first & both_next;
    carry = (pair | kana_pair) >> 63;
    for (uint64_t m = first & ~both_next; m; m &= m - 1) t[i + lowest_bit(m)] = kBlank;
    if (kScore) {
      // A pair counts 1 from 0xB0A1 to 0xF4FE and with 0x8E, else 2, and 3 more in the kana
      // rows: each pair once by its first byte, and again by its second if not `one`.
      uint64_t counted = counted_bits(i, from);
      uint64_t p = pair & counted;
      uint64_t two = p & ~one;
      uint64_t once = p | (kana_pair & counted) | (two << 1);
      sum += count_bits_weighted(once, p & row, 3) + static_cast<int64_t>(two >> 63);
    }
  }
  *score += sum;
  return i + carry;
}
#endif

template <bool kScore>
int64_t clean_euc(unsigned char* t, size_t n, size_t from) {
  int64_t score = 0;
  size_t i = 0;
#if defined(__SSE2__)
  i = clean_euc_blocks<kScore>(t, n, from, &score);
#endif
  return score + clean_euc_from<kScore>(t, n, from, i);
}

// Sweeps the UTF-8 character at `i` (a character's start) and returns where the next
// begins; with kScore a whole sequence from `from` on adds its length to `score`.
template <bool kScore>
inline size_t clean_utf8_char(unsigned char* t, size_t n, size_t from, size_t i, int64_t& score) {
  unsigned c = tbl::ctrl_blank[t[i]];
  t[i] = static_cast<unsigned char>(c);
  if (c <= 0x7F) return i + 1;
  if (c < 0xC2 || c > 0xFD) {
    t[i] = kBlank;
    return i + 1;
  }
  size_t len = c <= 0xDF ? 2 : c <= 0xEF ? 3 : c <= 0xF7 ? 4 : c <= 0xFB ? 5 : 6;
  size_t k = 1;
  while (k < len && i + k < n && (t[i + k] & 0xC0) == 0x80) ++k;
  if (k == len) {
    if (kScore && i >= from) score += static_cast<int64_t>(len);
    return i + len;
  }
  // A broken sequence: its bytes so far and the byte that broke it become blanks.
  size_t stop = i + k < n ? i + k + 1 : n;
  for (size_t j = i; j < stop; ++j) t[j] = kBlank;
  return stop;
}

#if defined(__SSE2__)
// What plain_utf8_block found: the bytes from the block's start that the sweep leaves as
// they are (0 for none), and how many of them are not ASCII.
struct PlainRun {
  unsigned bytes;
  int high;
};

// The bytes of a block of 64, from a character's start, that the sweep leaves as they
// are: text and line ends, and sequences of two to four bytes whose continuation bytes
// stand where their first bytes want them. The run ends at the first sequence that goes
// on past the block, or covers the block; anything else leaves it to the byte-wise sweep.
inline PlainRun plain_utf8_block(const unsigned char* p) {
  using namespace blocks;
  uint64_t text = 0;  // 0x20-0x7F, TAB to CR, 0x1A
  uint64_t cont = 0;
  uint64_t lead2 = 0;
  uint64_t lead3 = 0;
  uint64_t lead4 = 0;
  for (int k = 0; k < 4; ++k) {
    __m128i x = load16(p + 16 * k);
    __m128i kept = _mm_or_si128(in_range(x, 0x20, 0x7F),
                                _mm_or_si128(in_range(x, 0x09, 0x0D), equal(x, 0x1A)));
    text |= bits16(kept, k);
    cont |= bits16(in_range(x, 0x80, 0xBF), k);
    lead2 |= bits16(in_range(x, 0xC2, 0xDF), k);
    lead3 |= bits16(in_range(x, 0xE0, 0xEF), k);
    lead4 |= bits16(in_range(x, 0xF0, 0xF7), k);
  }
  const uint64_t past = (lead2 & 1ull << 63) | (lead3 & 3ull << 62) | (lead4 & 7ull << 61);
  const uint64_t run = past ? (past & (0 - past)) - 1 : ~0ull;
  lead2 &= run;
  lead3 &= run;
  lead4 &= run;
  const uint64_t wanted =
      (lead2 << 1) | (lead3 << 1) | (lead3 << 2) | (lead4 << 1) | (lead4 << 2) | (lead4 << 3);
  // Every wanted byte continues, and no other byte of the run does; a wanted byte past the
  // run would be the first byte that ends it, which never continues.
  if ((wanted & ~cont) != 0 || ((cont & run) & ~wanted) != 0 ||
      ((text | cont | lead2 | lead3 | lead4) & run) != run)
    return {0, 0};
  return {past ? lowest_bit(past) : 64u, count_bits_weighted(~text & run, 0, 0)};
}
#endif

template <bool kScore>
int64_t clean_utf8(unsigned char* t, size_t n, size_t from) {
  int64_t score = 0;
  size_t i = 0;
#if defined(__SSE2__)
  // Whole blocks that need no change are passed over; the others are swept a character
  // at a time up to the end of the block or just behind it.
  while (n - i > 64) {
    if (!kScore || i >= from) {
      const PlainRun plain = plain_utf8_block(t + i);
      if (plain.bytes != 0) {
        if (kScore) score += plain.high;
        i += plain.bytes;
        continue;
      }
    }
    for (const size_t stop = i + 64; i < stop;) i = clean_utf8_char<kScore>(t, n, from, i, score);
  }
#endif
  while (i < n) i = clean_utf8_char<kScore>(t, n, from, i, score);
  return score;
}

#if defined(__x86_64__)
// One run of EUC-JP to Shift_JIS from t[i], written in place at t[o] (o <= i): up to 32
// bytes that stay (0x01 to 0x80), or up to 16 pairs of 0xA1-0xFE, whose Shift_JIS is
// worked out as the tables give it. Result: the bytes taken, 0 where neither run begins.
// Only the bytes of the run are stored: behind a half-width kana the text has moved back,
// and a whole vector would write over bytes not yet read. Reads 32 bytes from t[i].
__attribute__((target("avx512bw,avx512vl"))) size_t euc_run_to_sjis(unsigned char* t, size_t i,
                                                                    size_t o) {
  const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t + i));
  const auto stay = static_cast<uint32_t>(
      _mm256_cmple_epu8_mask(_mm256_sub_epi8(x, _mm256_set1_epi8(1)), _mm256_set1_epi8(0x7F)));
  if (stay & 1) {
    const unsigned run = stay == ~0u ? 32 : static_cast<unsigned>(__builtin_ctz(~stay));
    const __mmask32 keep = run == 32 ? ~0u : (1u << run) - 1;
    _mm256_mask_storeu_epi8(t + o, keep, x);
    return run;
  }
  const __m256i c = _mm256_and_si256(x, _mm256_set1_epi16(0xFF));
  const __m256i d = _mm256_srli_epi16(x, 8);
  const __m256i top = _mm256_set1_epi16(0xFE - 0xA1);
  const auto pairs = static_cast<unsigned>(
      _mm256_cmple_epu16_mask(_mm256_sub_epi16(c, _mm256_set1_epi16(0xA1)), top) &
      _mm256_cmple_epu16_mask(_mm256_sub_epi16(d, _mm256_set1_epi16(0xA1)), top));
  if (!(pairs & 1)) return 0;
  const unsigned run = pairs == 0xFFFF ? 16 : static_cast<unsigned>(__builtin_ctz(~pairs));
  // First byte: 81 + (c - A1) / 2 up to DE, E0 + (c - DF) / 2 from DF on.
  const __mmask16 high_row = _mm256_cmpge_epu16_mask(c, _mm256_set1_epi16(0xDF));
  const __m256i lead = _mm256_mask_add_epi16(
      _mm256_add_epi16(_mm256_srli_epi16(_mm256_sub_epi16(c, _mm256_set1_epi16(0xA1)), 1),
                       _mm256_set1_epi16(0x81)),
      high_row, _mm256_srli_epi16(_mm256_sub_epi16(c, _mm256_set1_epi16(0xDF)), 1),
      _mm256_set1_epi16(0xE0));
  // Second byte: d - 2 behind an even first byte; behind an odd one d - 0x61 up to DF,
  // d - 0x60 from E0 on.
  const __mmask16 odd = _mm256_test_epi16_mask(c, _mm256_set1_epi16(1));
  const __mmask16 odd_high = odd & _mm256_cmpge_epu16_mask(d, _mm256_set1_epi16(0xE0));
  __m256i trail = _mm256_sub_epi16(d, _mm256_set1_epi16(2));
  trail = _mm256_mask_sub_epi16(trail, odd, d, _mm256_set1_epi16(0x61));
  trail = _mm256_mask_sub_epi16(trail, odd_high, d, _mm256_set1_epi16(0x60));
  const __m256i out = _mm256_or_si256(lead, _mm256_slli_epi16(trail, 8));
  const __mmask32 keep = run == 16 ? ~0u : (1u << (2 * run)) - 1;
  _mm256_mask_storeu_epi8(t + o, keep, out);
  return 2 * run;
}
#endif

}  // namespace

void sweep_narrow(bool narrow) {
#if defined(__SSE2__) && defined(__x86_64__)
  blocks::narrow_only = narrow;
#else
  (void)narrow;
#endif
}

int clean_text(char* text, int code, size_t size, int whole) {
  if (code == kCodeAuto || code > kUtf8) return 1;
  size_t n = size;
  if (!whole) {
    const void* nul = std::memchr(text, 0, size);
    if (nul) n = static_cast<size_t>(static_cast<const char*>(nul) - text);
  }
  unsigned char* t = ubytes(text);
  if (code == kSjis)
    clean_sjis<kNoScore>(t, n, 0);
  else if (code == kEuc)
    clean_euc<false>(t, n, 0);
  else
    clean_utf8<false>(t, n, 0);
  return 0;
}

int clean_text_counted(char* text, int code, size_t size, LineEnds* ends) {
  *ends = LineEnds{};
  if (code == kSjis) {
    clean_sjis<kNoScore, true>(ubytes(text), size, 0, ends);
    return 0;
  }
  const int result = clean_text(text, code, size, 1);
  count_two(text, text + size, '\n', '\r', &ends->lf, &ends->cr);
  return result;
}

void SjisSweep::count_to(size_t to) {
  if (to <= counted_) return;
  add_floor_ranges(text_ + counted_, to - counted_, &ranges_);
  counted_ = to;
}

void SjisSweep::take(size_t n) {
  if (scored_) {
    sweep_sjis_blocks<kFloor, true>(ubytes(text_), n, from_, state_);
    count_to(state_.i);  // the bytes before the next block won't change
  } else {
    sweep_sjis_blocks<kNoScore, true>(ubytes(text_), n, 0, state_);
  }
}

LineEnds SjisSweep::finish(size_t n) {
  LineEnds ends;
  finish_sjis<kNoScore, true>(ubytes(text_), n, 0, state_, &ends);
  return ends;
}

int64_t SjisSweep::finish_floor(size_t n, LineEnds* ends) {
  const int64_t floor = finish_sjis<kFloor, true>(ubytes(text_), n, from_, state_, ends);
  count_to(n);
  return floor;
}

int clean_text_scored(char* text, int code, size_t size, size_t from, int64_t* score) {
  *score = 0;
  if (code == kCodeAuto || code > kUtf8) return 1;
  unsigned char* t = ubytes(text);
  if (code == kSjis)
    *score = clean_sjis<kExact>(t, size, from);
  else if (code == kEuc)
    *score = clean_euc<true>(t, size, from);
  else
    *score = clean_utf8<true>(t, size, from);
  return 0;
}

int clean_text(std::string& text, int code, size_t size) {
  if (code == kCodeAuto || code > kUtf8) return 1;
  size_t n = text.size() < size ? text.size() : size;
  clean_text(text.data(), code, n, 1);
  return 0;
}

size_t euc_to_sjis(char* text, size_t size) {
  unsigned char* t = ubytes(text);
  size_t i = 0;
  size_t o = 0;
#if defined(__x86_64__)
  const bool wide = blocks::wide_vectors();
#endif
  while (i < size && t[i]) {
#if defined(__x86_64__)
    if (wide && size - i >= 32) {
      if (const size_t run = euc_run_to_sjis(t, i, o)) {
        i += run;
        o += run;
        continue;
      }
    }
#endif
    unsigned c = t[i];
    if (c <= 0x80) {
      t[o++] = static_cast<unsigned char>(c);
      ++i;
      continue;
    }
    if (i + 1 >= size || t[i + 1] == 0) break;  // a lone first byte at the end is dropped
    unsigned d = t[i + 1];
    if (c == 0x8E) {
      t[o++] = static_cast<unsigned char>(d);
    } else {
      t[o++] = kEucLead[c];
      t[o++] = (c & 1) ? kEucTrailOdd[d] : kEucTrailEven[d];
    }
    i += 2;
  }
  if (o < size) t[o] = 0;
  return o;
}

size_t sjis_to_euc(Run& run, char* text, size_t size) {
  size_t len = strnlen(text, size);
  bool small = len < 2048;
  size_t area = small ? 4096 : size + 1;
  std::string& out = run.scratch;
  try {
    out.assign(area, '\0');
  } catch (const std::bad_alloc&) {
    fatal(run, msg(run, Msg::no_memory), 135);
  }
  unsigned char* w = ubytes(out.data());
  const unsigned char* t = ubytes(text);
  size_t i = 0;
  size_t o = 0;
  bool guard_touched = false;
  auto put = [&](unsigned b) {
    if (o == area - 1) guard_touched = true;
    if (o < area) w[o++] = static_cast<unsigned char>(b);
  };
  while (i < len && t[i] && o < area - 2) {
    unsigned c = t[i];
    uint8_t cls = tbl::sjis[c];
    if (cls & tbl::kSingle) {
      put(c);
      ++i;
      continue;
    }
    if (cls & tbl::kKana) {
      put(0x8E);
      put(c);
      ++i;
      continue;
    }
    unsigned d = i + 1 < len ? t[i + 1] : 0;
    unsigned d1 = d < 0x9F ? kSjisLeadOdd[c] : kSjisLeadEven[c];
    unsigned d2 = kSjisTrail[d];
    if (d1 < 3) {
      put(0xA1);
      put(0xA9);
    } else if (d1 == 3) {
      if (d >= 0x40 && d <= 0xFC) {
        const uint8_t* e = kIbmToEuc[(c - 0xFA) * 189 + (d - 0x40)];
        for (int k = 0; k < e[0]; ++k) put(e[1 + k]);
      } else {
        put(kBlank);
        put(kBlank);
      }
    } else {
      put(d1);
      put(d2);
    }
    if (d == 0) break;
    i += 2;
  }
  if (guard_touched) {
    fatal(run, msg(run, Msg::buffer_overflow), small ? 999 : 998);
  }
  size_t n = strnlen(out.data(), o);
  out.resize(n);
  return write_back(text, out, n, size);
}

size_t sjis_to_utf8(Run& run, char* text, size_t size) {
  size_t len = strnlen(text, size);
  ByteBlock& out = run.conv_block;
  if (!out.grow(3 * len + 16)) return len;
  size_t n = write_utf8_from_sjis(text, len, out.data());
  if (n == 0) return len;
  // Longer than the room: cut 3 bytes short of it (and at nothing in a room under 3).
  size_t cut = n > size ? (size > 3 ? size - 3 : 0) : n;
  if (cut > size - 1) cut = size - 1;
  std::memcpy(text, out.data(), cut);
  text[cut] = '\0';
  return cut;
}

size_t utf8_to_sjis(Run& run, char* text, size_t size) {
  (void)run;
  size_t len = strnlen(text, size);
  // The Shift_JIS form is never longer, so it is written over the text as it is read.
  size_t n = write_sjis_from_utf8(text, len, text);
  if (n == 0) return len;
  if (n > size - 1) n = size - 1;
  text[n] = '\0';
  return n;
}

size_t convert_code(Run& run, char* text, int from, int to, size_t size) {
  if (size == 0) return 0;
  if (from == kCodeAuto) from = guess_code(text, static_cast<long>(size));
  if (from == to || from == kCodeAuto || to == kCodeAuto || from > kUtf8 || to > kUtf8)
    return strnlen(text, size);
  switch (from * 10 + to) {
    case 21:
      return euc_to_sjis(text, size);
    case 31:
      return utf8_to_sjis(run, text, size);
    case 12:
      return sjis_to_euc(run, text, size);
    case 32:
      utf8_to_sjis(run, text, size);
      return sjis_to_euc(run, text, size);
    case 13:
      return sjis_to_utf8(run, text, size);
    case 23:
      euc_to_sjis(text, size);
      return sjis_to_utf8(run, text, size);
  }
  return strnlen(text, size);
}

size_t convert_log_text(Run& run, ByteBlock& block, size_t offset, int from, int to, size_t size,
                        size_t len) {
  char* text = block.data() + offset;
  bool to_utf8 = to == kUtf8 && (from == kSjis || from == kEuc);
  if (!to_utf8 || size == 0) return convert_code(run, text, from, to, size);
  if (from == kEuc) {
    euc_to_sjis(text, size);
    len = kLengthUnknown;
  }
  // The UTF-8 text is written into the work block behind a copy of what stands before
  // `offset`, and the blocks change places: the log is not copied back.
  if (len == kLengthUnknown) len = strnlen(text, size);
  assert(len == strnlen(text, size));
  ByteBlock& out = run.conv_block;
  if (len == 0 || !out.grow(offset + 3 * len + 16)) return sjis_to_utf8(run, text, size);
  std::memcpy(out.data(), block.data(), offset);
  size_t n = write_utf8_from_sjis(text, len, out.data() + offset);
  // Longer than the room: cut 3 bytes short of it, as sjis_to_utf8 does.
  size_t cut = n > size ? (size > 3 ? size - 3 : 0) : n;
  if (cut > size - 1) cut = size - 1;
  out.data()[offset + cut] = '\0';
  std::swap(block, out);
  return cut;
}

void convert_code(Run& run, std::string& text, int from, int to, size_t size) {
  if (size == 0) {
    text.clear();
    return;
  }
  std::string buf(text, 0, text.size() < size ? text.size() : size - 1);
  buf.resize(size, '\0');
  size_t n = convert_code(run, buf.data(), from, to, size);
  buf.resize(n);
  text.swap(buf);
}

std::string to_base64(std::string_view text) {
  static const char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  size_t n = text.size();
  out.reserve((n + 2) / 3 * 4);
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  size_t i = 0;
  for (; i + 2 < n; i += 3) {
    uint32_t v = (p[i] << 16) | (p[i + 1] << 8) | p[i + 2];
    out += kAlphabet[v >> 18];
    out += kAlphabet[(v >> 12) & 63];
    out += kAlphabet[(v >> 6) & 63];
    out += kAlphabet[v & 63];
  }
  if (i < n) {
    uint32_t v = p[i] << 16;
    if (i + 1 < n) v |= p[i + 1] << 8;
    out += kAlphabet[v >> 18];
    out += kAlphabet[(v >> 12) & 63];
    out += i + 1 < n ? kAlphabet[(v >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

std::string from_base64(std::string_view text) {
  auto value = [](char c) -> int {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
  };
  std::string out;
  uint32_t acc = 0;
  int bits = 0;
  for (char c : text) {
    if (c == '=' || c == '\0') break;
    int v = value(c);
    if (v < 0) continue;
    acc = (acc << 6) | static_cast<uint32_t>(v);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>((acc >> bits) & 0xFF);
    }
  }
  return out;
}

}  // namespace tz
