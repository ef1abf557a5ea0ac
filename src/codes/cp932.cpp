#include "codes/cp932.h"

#include <cstdint>

#include "codes/code_tables.h"

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

// UTF-8 of every double byte and every single byte, made once from the code tables.
struct Utf8Tables {
  Utf8Bytes pair[60][189];
  Utf8Bytes single[256];  // a lead byte holds the default character
};

const Utf8Tables& utf8_tables() {
  static const Utf8Tables* tables = [] {
    auto* t = new Utf8Tables;
    for (int lead = 0; lead < 60; ++lead)
      for (int trail = 0; trail < 189; ++trail) {
        uint16_t v = kSjisToUcs[lead][trail];
        t->pair[lead][trail] = utf8_bytes(v ? v : kNoChar);
      }
    for (unsigned c = 0; c < 256; ++c) {
      uint32_t u = single_byte_ucs(c);
      t->single[c] = utf8_bytes(u || c == 0 ? u : kNoChar);
    }
    return t;
  }();
  return *tables;
}

inline bool is_lead(unsigned c) { return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC); }

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

}  // namespace

size_t write_utf8_from_sjis(const char* text, size_t n, char* out) {
  const Utf8Tables& tables = utf8_tables();
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  auto* o = reinterpret_cast<unsigned char*>(out);
  size_t i = 0;
  while (i < n) {
    unsigned c = p[i];
    if (c < 0x80) {
      // Runs of ASCII are the common case between the characters.
      *o++ = static_cast<unsigned char>(c);
      ++i;
      continue;
    }
    const Utf8Bytes* u;
    if (!is_lead(c)) {
      u = &tables.single[c];
      ++i;
    } else {
      unsigned t = i + 1 < n ? p[i + 1] : 0;
      if (t >= 0x40 && t <= 0xFC) {
        u = &tables.pair[sjis_lead_index(c)][t - 0x40];
        i += 2;
      } else {
        u = &tables.single[c];
        ++i;
      }
    }
    // Three bytes are always stored; the length says how many count.
    o[0] = u->b[0];
    o[1] = u->b[1];
    o[2] = u->b[2];
    o += u->len;
  }
  return static_cast<size_t>(o - reinterpret_cast<unsigned char*>(out));
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
  out.resize(old + 3 * n + 3);
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
