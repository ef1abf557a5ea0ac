#include "codes/cp932.h"

#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "codes/byte_blocks.h"
#include "codes/code_tables.h"
#include "common/byte_search.h"

namespace tz {

namespace {

constexpr uint32_t kNoChar = 0x30FB;  // the platform's default character of code page 932

// The UTF-8 bytes of one character: at most 3, since the code page has nothing beyond
// the basic plane.
struct Utf8Bytes {
  uint8_t len;
  uint8_t b[3];
};

constexpr Utf8Bytes utf8_bytes(uint32_t u) {
  if (u < 0x80) return {1, {static_cast<uint8_t>(u), 0, 0}};
  if (u < 0x800)
    return {2, {static_cast<uint8_t>(0xC0 | (u >> 6)), static_cast<uint8_t>(0x80 | (u & 0x3F)), 0}};
  return {3,
          {static_cast<uint8_t>(0xE0 | (u >> 12)), static_cast<uint8_t>(0x80 | ((u >> 6) & 0x3F)),
           static_cast<uint8_t>(0x80 | (u & 0x3F))}};
}

uint32_t single_byte_ucs(unsigned c) {
  if (c < 0x80) return c;
  if (c >= 0xA1 && c <= 0xDF) return 0xFF61 + (c - 0xA1);
  if (c == 0x80) return 0x80;
  if (c == 0xA0) return 0xF8F0;
  if (c >= 0xFD) return 0xF8F1 + (c - 0xFD);
  return 0;  // a lead byte
}

// UTF-8 of every double byte and every single byte, made once from the code tables:
// the bytes in the low three bytes of an entry, their number in the high one, so that
// a character is one load and one store of four bytes.
// The pairs' entries come first and the single bytes' behind them (at `kSingles` plus the
// byte), so that one index reaches either.
constexpr int kSingles = 60 * 189;
struct Utf8Tables {
  uint32_t entry[kSingles + 256];  // a lead byte alone holds the default character
  // A lead byte's row start plus a second byte's place is the index of the pair; both
  // parts are far below zero for bytes that make no pair, so one sign test decides.
  int row[256];
  int place[256];
};

constexpr uint32_t pack(Utf8Bytes u) {
  return static_cast<uint32_t>(u.b[0]) | static_cast<uint32_t>(u.b[1]) << 8 |
         static_cast<uint32_t>(u.b[2]) << 16 | static_cast<uint32_t>(u.len) << 24;
}

const Utf8Tables& utf8_tables() {
  static const Utf8Tables* tables = [] {
    auto* t = new Utf8Tables;
    for (int lead = 0; lead < 60; ++lead)
      for (int trail = 0; trail < 189; ++trail) {
        uint16_t v = kSjisToUcs[lead][trail];
        t->entry[lead * 189 + trail] = pack(utf8_bytes(v ? v : kNoChar));
      }
    for (unsigned c = 0; c < 256; ++c) {
      uint32_t u = single_byte_ucs(c);
      t->entry[kSingles + c] = pack(utf8_bytes(u || c == 0 ? u : kNoChar));
      bool lead = (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
      t->row[c] = lead ? sjis_lead_index(c) * 189 : -0x100000;
      t->place[c] = c >= 0x40 && c <= 0xFC ? static_cast<int>(c) - 0x40 : -0x100000;
    }
    return t;
  }();
  return *tables;
}

// Decodes one UTF-8 character at p[0..n) and returns its length. An ill-formed
// sequence gives one U+FFFD for its longest well-formed start (at least its first
// byte), as the platform's decoder does.
size_t decode_utf8(const unsigned char* p, size_t n, uint32_t* u) {
  unsigned c = p[0];
  if (c < 0x80) {
    *u = c;
    return 1;
  }
  size_t len;
  uint32_t v;
  unsigned lo = 0x80;  // range of the second byte; the others are 80 to BF
  unsigned hi = 0xBF;
  if (c >= 0xC2 && c <= 0xDF) {
    len = 2;
    v = c & 0x1F;
  } else if (c >= 0xE0 && c <= 0xEF) {
    len = 3;
    v = c & 0x0F;
    if (c == 0xE0) lo = 0xA0;  // no overlong forms
    if (c == 0xED) hi = 0x9F;  // no surrogates
  } else if (c >= 0xF0 && c <= 0xF4) {
    len = 4;
    v = c & 0x07;
    if (c == 0xF0) lo = 0x90;
    if (c == 0xF4) hi = 0x8F;  // nothing above U+10FFFF
  } else {
    *u = 0xFFFD;
    return 1;
  }
  for (size_t i = 1; i < len; ++i) {
    if (i >= n || p[i] < lo || p[i] > hi) {
      *u = 0xFFFD;
      return i;
    }
    v = (v << 6) | (p[i] & 0x3F);
    lo = 0x80;
    hi = 0xBF;
  }
  *u = v;
  return len;
}

// Converts from `i`, where a character begins, to the end, a character at a time; result:
// the end of what it wrote.
unsigned char* write_utf8_bytewise(const Utf8Tables& tables, const unsigned char* p, size_t i,
                                   size_t n, unsigned char* o) {
  auto put = [&o](uint32_t v) {
    std::memcpy(o, &v, 4);  // four bytes stored; the length says how many count
    o += v >> 24;
  };
  // Pairs are tried while a second byte follows; the last byte is taken alone below.
  const size_t pairs_end = n ? n - 1 : 0;
  while (i < pairs_end) {
    unsigned c = p[i];
    int pair = tables.row[c] + tables.place[p[i + 1]];
    if (pair >= 0) {
      put(tables.entry[pair]);
      i += 2;
      continue;
    }
    if (c < 0x80) {
#if defined(__SSE2__)
      // ASCII between the characters: sixteen bytes are stored, those before the first
      // byte from 0x80 up count.
      if (i + 16 <= n) {
        __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o), x);
        unsigned high = static_cast<unsigned>(_mm_movemask_epi8(x));
        size_t k = high ? static_cast<size_t>(__builtin_ctz(high)) : 16;
        o += k;
        i += k;
        continue;
      }
#endif
      *o++ = static_cast<unsigned char>(c);
      ++i;
      continue;
    }
    put(tables.entry[kSingles + c]);
    ++i;
  }
  if (i < n) put(tables.entry[kSingles + p[i]]);
  return o;
}

#if defined(__x86_64__)
#define TZ_COMPRESS __attribute__((target("avx512bw,avx512vbmi2,bmi,bmi2,popcnt")))

// Packs the UTF-8 of a block of 64 bytes behind `o`. Each byte gets a table entry: its own
// for ASCII, none for the second byte of a pair (`second`), and for the others
// (`chars`) the next of `found`. An entry gives its length of bytes in its high byte.
TZ_COMPRESS TZ_INLINE inline unsigned char* pack_block(const unsigned char* block, uint64_t chars,
                                                       uint64_t second, const uint32_t* found,
                                                       unsigned char* o) {
  const __m512i length_one = _mm512_set1_epi32(0x01000000);
  // The length byte of each entry, spread over its four bytes.
  const __m512i spread =
      _mm512_set_epi8(15, 15, 15, 15, 11, 11, 11, 11, 7, 7, 7, 7, 3, 3, 3, 3, 15, 15, 15, 15, 11,
                      11, 11, 11, 7, 7, 7, 7, 3, 3, 3, 3, 15, 15, 15, 15, 11, 11, 11, 11, 7, 7, 7,
                      7, 3, 3, 3, 3, 15, 15, 15, 15, 11, 11, 11, 11, 7, 7, 7, 7, 3, 3, 3, 3);
  const __m512i place = _mm512_set1_epi32(0x03020100);
  for (int part = 0; part < 4; ++part) {
    const auto looked_up = static_cast<__mmask16>(chars >> (16 * part));
    const auto ascii = static_cast<__mmask16>(~(chars | second) >> (16 * part));
    const auto* at = reinterpret_cast<const __m128i*>(block + 16 * part);
    __m512i e = _mm512_maskz_cvtepu8_epi32(ascii, _mm_loadu_si128(at));
    e = _mm512_mask_or_epi32(e, ascii, e, length_one);
    e = _mm512_mask_expand_epi32(e, looked_up, _mm512_loadu_si512(found));
    found += __builtin_popcount(looked_up);
    const uint64_t counts = _mm512_cmpgt_epu8_mask(_mm512_shuffle_epi8(e, spread), place);
    const auto n = static_cast<unsigned>(__builtin_popcountll(counts));
    _mm512_mask_storeu_epi8(o, _bzhi_u64(~0ull, n), _mm512_maskz_compress_epi8(counts, e));
    o += n;
  }
  return o;
}

// Whole blocks of 64 bytes, where the processor can pack bytes (AVX-512 VBMI2). The
// pairs of a block are found from its masks as the sweep finds them. The table indexes
// of its pairs and single high bytes are worked out in 16-bit lanes and packed together,
// so that their entries are looked up four at a time without a branch (a byte-wise loop
// mispredicts at every change between ASCII and double bytes). A block is packed only
// behind the lookups of the next: loading the entries just stored would wait for them.
TZ_COMPRESS unsigned char* write_utf8_blocks(const Utf8Tables& tables, const unsigned char* p,
                                             size_t n, unsigned char* o) {
  // Lookups run in fours past the last index, so every slot holds a valid index.
  alignas(64) uint16_t index[64 + 32] = {};
  alignas(64) uint32_t found[2][64 + 4];
  unsigned side = 0;                       // `found` of the block being looked up
  const unsigned char* waiting = nullptr;  // the block looked up but not packed yet
  uint64_t waiting_chars = 0;
  uint64_t waiting_second = 0;
  size_t i = 0;
  uint64_t carry = 0;  // 1 when byte i is the second of a pair begun before it
  for (; i + 64 < n; i += 64) {
    const __m512i x = _mm512_loadu_si512(p + i);
    const uint64_t high = _mm512_movepi8_mask(x);
    if (high == 0 && carry == 0) {
      if (waiting) o = pack_block(waiting, waiting_chars, waiting_second, found[side ^ 1], o);
      waiting = nullptr;
      _mm512_storeu_si512(o, x);
      o += 64;
      continue;
    }
    // A pair is a lead byte where a character begins and a byte of 0x40 to 0xFC behind it.
    using blocks::in_range64;
    const uint64_t lead = in_range64(x, 0x81, 0x9F) | in_range64(x, 0xE0, 0xFC);
    const uint64_t may_trail = in_range64(x, 0x40, 0xFC);
    const unsigned behind = p[i + 64];
    const uint64_t trailed =
        (may_trail >> 1) | static_cast<uint64_t>(behind >= 0x40 && behind <= 0xFC) << 63;
    const uint64_t pair = blocks::pair_starts(carry ? lead & ~1ull : lead) & trailed;
    const uint64_t second = (pair << 1) | carry;
    carry = pair >> 63;
    const uint64_t chars = high & ~second;
    // A pair's index is its row (sjis_lead_index) and the second byte's place, a single
    // byte's is kSingles and the byte.
    const auto low_chars = static_cast<uint32_t>(chars);
    for (int half = 0; half < 2; ++half) {
      const auto* at = reinterpret_cast<const __m256i*>(p + i + 32 * half);
      const auto* behind = reinterpret_cast<const __m256i*>(p + i + 32 * half + 1);
      const __m512i first = _mm512_maskz_cvtepu8_epi16(~0u, _mm256_loadu_si256(at));
      const __m512i next = _mm512_maskz_cvtepu8_epi16(~0u, _mm256_loadu_si256(behind));
      const __mmask32 upper = _mm512_cmpge_epu16_mask(first, _mm512_set1_epi16(0xE0));
      __m512i row = _mm512_sub_epi16(first, _mm512_set1_epi16(0x81));
      row = _mm512_mask_sub_epi16(row, upper, row, _mm512_set1_epi16(0xE0 - 0xA0));
      __m512i at_index = _mm512_add_epi16(_mm512_mullo_epi16(row, _mm512_set1_epi16(189)),
                                          _mm512_sub_epi16(next, _mm512_set1_epi16(0x40)));
      const auto pairs = static_cast<__mmask32>(pair >> (32 * half));
      at_index = _mm512_mask_add_epi16(at_index, ~pairs, first, _mm512_set1_epi16(kSingles));
      const auto looked_up = static_cast<__mmask32>(chars >> (32 * half));
      uint16_t* to = index + (half ? __builtin_popcount(low_chars) : 0);
      _mm512_storeu_si512(to, _mm512_maskz_compress_epi16(looked_up, at_index));
    }
    const auto count = static_cast<unsigned>(__builtin_popcountll(chars));
    uint32_t* to = found[side];
    for (unsigned k = 0; k < count; k += 4) {
      to[k] = tables.entry[index[k]];
      to[k + 1] = tables.entry[index[k + 1]];
      to[k + 2] = tables.entry[index[k + 2]];
      to[k + 3] = tables.entry[index[k + 3]];
      asm("" : "+r"(k));  // keeps the compiler from making this a slow emulated gather
    }
    if (waiting) o = pack_block(waiting, waiting_chars, waiting_second, found[side ^ 1], o);
    waiting = p + i;
    waiting_chars = chars;
    waiting_second = second;
    side ^= 1;
  }
  if (waiting) o = pack_block(waiting, waiting_chars, waiting_second, found[side ^ 1], o);
  return write_utf8_bytewise(tables, p, i + carry, n, o);
}
#undef TZ_COMPRESS
#endif

}  // namespace

size_t write_utf8_from_sjis(const char* text, size_t n, char* out) {
  const Utf8Tables& tables = utf8_tables();
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  auto* o = reinterpret_cast<unsigned char*>(out);
#if defined(__x86_64__)
  if (n > 64 && blocks::compress_bytes())
    return static_cast<size_t>(write_utf8_blocks(tables, p, n, o) - o);
#endif
  return static_cast<size_t>(write_utf8_bytewise(tables, p, 0, n, o) - o);
}

size_t write_sjis_from_utf8(const char* text, size_t n, char* out) {
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  auto* o = reinterpret_cast<unsigned char*>(out);
  size_t i = 0;
  while (i < n) {
    if (p[i] < 0x80) {
      *o++ = p[i++];
      continue;
    }
    uint32_t u;
    i += decode_utf8(p + i, n - i, &u);
    if (u >= 0x10000) {
      // Two UTF-16 units, neither of them a character of the code page.
      *o++ = '?';
      *o++ = '?';
      continue;
    }
    uint16_t code = 0;
    uint8_t page = kUcsPage[u >> 8];
    if (page) code = kUcsToSjis[page][u & 0xFF];
    if (code == 0) {
      *o++ = '?';
    } else if (code < 0x100) {
      *o++ = static_cast<unsigned char>(code);
    } else {
      *o++ = static_cast<unsigned char>(code >> 8);
      *o++ = static_cast<unsigned char>(code & 0xFF);
    }
  }
  return static_cast<size_t>(o - reinterpret_cast<unsigned char*>(out));
}

void append_utf8_from_sjis(std::string& out, const char* text, size_t n) {
  size_t old = out.size();
  out.resize(old + 3 * n + 16);
  out.resize(old + write_utf8_from_sjis(text, n, out.data() + old));
}

void append_sjis_from_utf8(std::string& out, const char* text, size_t n) {
  size_t old = out.size();
  out.resize(old + n + 1);
  out.resize(old + write_sjis_from_utf8(text, n, out.data() + old));
}

}  // namespace tz

#include "codes/convert.h"

namespace tz {

std::string sjis_from_utf8(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size());
  append_sjis_from_utf8(out, utf8.data(), utf8.size());
  return out;
}

std::string utf8_from_sjis(std::string_view sjis) {
  std::string out;
  out.reserve(sjis.size() * 3 / 2);
  append_utf8_from_sjis(out, sjis.data(), sjis.size());
  return out;
}

}  // namespace tz
