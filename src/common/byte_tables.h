// Constant look-up tables of 256 entries over bytes.
#pragma once

#include <array>
#include <cstdint>

namespace tz::tbl {

// Flags of a Shift_JIS byte.
enum : uint8_t { kSingle = 1, kLead = 2, kTrail = 4, kKana = 8 };

constexpr std::array<uint8_t, 256> make_sjis() {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    uint8_t v = 1;
    if (c <= 0x3F)
      v = 1;
    else if (c <= 0x7E)
      v = 5;
    else if (c == 0x7F)
      v = 1;
    else if (c == 0x80)
      v = 4;
    else if (c <= 0x9F)
      v = 6;
    else if (c == 0xA0)
      v = 4;
    else if (c <= 0xDF)
      v = 12;
    else if (c <= 0xFC)
      v = 6;
    else
      v = 1;
    t[c] = v;
  }
  return t;
}
// Bit flags of a Shift_JIS byte: 1 single, 2 may lead, 4 may trail, 8 half-width kana.
inline constexpr std::array<uint8_t, 256> sjis = make_sjis();

constexpr std::array<uint8_t, 256> make_ctrl_blank() {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    bool keep = c >= 0x20 || c == 9 || c == 10 || c == 11 || c == 12 || c == 13 || c == 26;
    t[c] = static_cast<uint8_t>(keep ? c : 0x20);
  }
  return t;
}
// Control bytes other than TAB, LF, VT, FF, CR and 0x1A become a blank.
inline constexpr std::array<uint8_t, 256> ctrl_blank = make_ctrl_blank();

constexpr std::array<uint8_t, 256> make_url_end() {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    bool end = c <= 0x20 || c == 0x22 || c == 0x3C || c == 0x3E || (c >= 0x5B && c <= 0x5E) ||
               c == 0x60 || (c >= 0x7B && c <= 0x7D) || c >= 0x7F;
    t[c] = end ? 1 : 0;
  }
  return t;
}
// 1 if the byte can't stand in a web address.
inline constexpr std::array<uint8_t, 256> url_end = make_url_end();

// The characters that are not allowed in a file name, in their order.
inline constexpr char bad_name[] = "\\/:;,*?\"<>|";

}  // namespace tz::tbl
