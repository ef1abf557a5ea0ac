#include "codes/cp932.h"

#include <cstdint>

#include "codes/code_tables.h"

namespace tz {

namespace {

constexpr uint32_t kNoChar = 0x30FB;  // the platform's default character of code page 932

void put_utf8(std::string& out, uint32_t u) {
  if (u < 0x80) {
    out += static_cast<char>(u);
  } else if (u < 0x800) {
    out += static_cast<char>(0xC0 | (u >> 6));
    out += static_cast<char>(0x80 | (u & 0x3F));
  } else if (u < 0x10000) {
    out += static_cast<char>(0xE0 | (u >> 12));
    out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (u & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (u >> 18));
    out += static_cast<char>(0x80 | ((u >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (u & 0x3F));
  }
}

uint32_t single_byte_ucs(unsigned c) {
  if (c < 0x80) return c;
  if (c >= 0xA1 && c <= 0xDF) return 0xFF61 + (c - 0xA1);
  if (c == 0x80) return 0x80;
  if (c == 0xA0) return 0xF8F0;
  if (c >= 0xFD) return 0xF8F1 + (c - 0xFD);
  return 0;  // a lead byte
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

}  // namespace

void append_utf8_from_sjis(std::string& out, const char* text, size_t n) {
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  size_t i = 0;
  while (i < n) {
    unsigned c = p[i];
    if (c < 0x80) {
      // Runs of ASCII are the common case: copy them whole.
      size_t j = i + 1;
      while (j < n && p[j] < 0x80) ++j;
      out.append(text + i, j - i);
      i = j;
      continue;
    }
    uint32_t u = single_byte_ucs(c);
    if (u) {
      put_utf8(out, u);
      ++i;
      continue;
    }
    unsigned t = i + 1 < n ? p[i + 1] : 0;
    if (t >= 0x40 && t <= 0xFC) {
      uint16_t v = kSjisToUcs[sjis_lead_index(c)][t - 0x40];
      put_utf8(out, v ? v : kNoChar);
      i += 2;
    } else {
      put_utf8(out, kNoChar);
      ++i;
    }
  }
}

void append_sjis_from_utf8(std::string& out, const char* text, size_t n) {
  const auto* p = reinterpret_cast<const unsigned char*>(text);
  size_t i = 0;
  while (i < n) {
    if (p[i] < 0x80) {
      size_t j = i + 1;
      while (j < n && p[j] < 0x80) ++j;
      out.append(text + i, j - i);
      i = j;
      continue;
    }
    uint32_t u;
    i += decode_utf8(p + i, n - i, &u);
    if (u >= 0x10000) {
      out += "??";  // two UTF-16 units, neither of them a character of the code page
      continue;
    }
    uint16_t code = 0;
    uint8_t page = kUcsPage[u >> 8];
    if (page) code = kUcsToSjis[page][u & 0xFF];
    if (code == 0) {
      out += '?';
    } else if (code < 0x100) {
      out += static_cast<char>(code);
    } else {
      out += static_cast<char>(code >> 8);
      out += static_cast<char>(code & 0xFF);
    }
  }
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
