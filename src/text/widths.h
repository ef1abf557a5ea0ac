// Widths of the characters of the excerpt's proportional font, in units of which a
// full-width character has 16. They only decide where make_excerpt folds a line.
#pragma once

#include <array>
#include <cstdint>

namespace tz::tbl {

namespace widths_detail {

// A run of characters of one width; later runs overwrite earlier ones.
struct Span {
  uint16_t from, to;
  uint8_t w;
};

// Single bytes 0x20 to 0x7E, in their order.
inline constexpr uint8_t kAscii[95] = {
    5,  4,  6,  9,  8, 12, 10, 3,  5,  5,  7, 9, 4,  6, 4, 6,  //  !"#$%&'()*+,-./
    8,  8,  8,  8,  8, 8,  8,  8,  8,  8,                      // 0-9
    4,  4,  9,  9,  9, 7,  12,                                 // :;<=>?@
    10, 9,  10, 10, 9, 8,  11, 10, 4,  7,  9, 8, 12,           // A-M
    10, 11, 9,  11, 9, 9,  9,  10, 10, 12, 9, 9, 9,            // N-Z
    5,  6,  5,  8,  8, 5,                                      // [\]^_`
    8,  8,  7,  8,  8, 5,  8,  8,  3,  3,  7, 3, 12,           // a-m
    8,  8,  8,  8,  5, 7,  5,  8,  7,  11, 7, 7, 7,            // n-z
    5,  4,  5,  8,                                             // {|}~
};

// Half-width katakana 0xA1 to 0xDF, in their order.
inline constexpr uint8_t kKana[63] = {
    4,  5,  5, 4,  4,  9,  7,  6, 7,  7,  7,  7, 7, 6,  7,  8,   // 0xA1-0xB0
    10, 9,  9, 10, 10, 10, 10, 9, 10, 9,  10, 9, 9, 10, 9,       // 0xB1-0xBF
    9,  10, 9, 10, 6,  10, 10, 9, 10, 8,  11, 8, 9, 10, 10, 10,  // 0xC0-0xCF
    9,  10, 9, 10, 10, 10, 8,  9, 8,  11, 9,  9, 9, 9,  4,  4,   // 0xD0-0xDF
};

constexpr std::array<uint8_t, 256> make_width1() {
  std::array<uint8_t, 256> t{};
  for (auto& v : t) v = 8;  // control bytes, lead bytes and the unused ones
  for (int c = 0x20; c <= 0x7E; ++c) t[c] = kAscii[c - 0x20];
  for (int c = 0xA1; c <= 0xDF; ++c) t[c] = kKana[c - 0xA1];
  return t;
}

// Double bytes 0x8140 to 0x849F: symbols, full-width letters and digits, kana, Greek,
// Cyrillic. What no span names is unassigned.
inline constexpr Span kSpans[] = {
    // Symbols of the first row.
    {0x8140, 0x817E, 16},
    {0x8180, 0x81AC, 16},
    {0x81B8, 0x81BF, 16},
    {0x81C8, 0x81CE, 16},
    {0x81DA, 0x81E8, 16},
    {0x81F0, 0x81F7, 16},
    {0x81FC, 0x81FC, 16},
    {0x8140, 0x8140, 11},  // ideographic space
    {0x8141, 0x8144, 7},   // 、。，．
    {0x8145, 0x8145, 8},   // ・
    {0x8146, 0x8147, 7},   // ：；
    {0x8148, 0x8148, 9},   // ？
    {0x8149, 0x8149, 6},   // ！
    {0x814A, 0x814F, 9},   // ゛゜´｀¨＾
    {0x8151, 0x8151, 14},  // ＿
    {0x8152, 0x8155, 10},  // ヽヾゝゞ
    {0x815D, 0x815D, 10},  // ‐
    {0x815E, 0x815F, 10},  // ／＼
    {0x8161, 0x8161, 8},   // ∥
    {0x8162, 0x8162, 5},   // ｜
    {0x8165, 0x8166, 6},   // ‘’
    {0x8167, 0x8168, 9},   // “”
    {0x8169, 0x8170, 8},   // （）〔〕［］｛｝
    {0x8171, 0x8172, 9},   // 〈〉
    {0x8173, 0x8174, 12},  // 《》
    {0x8175, 0x8176, 9},   // 「」
    {0x8177, 0x817A, 10},  // 『』【】
    {0x817B, 0x817E, 12},  // ＋－±×
    {0x8181, 0x8188, 12},  // ＝≠＜＞≦≧∞∴
    {0x818F, 0x818F, 11},  // ￥
    {0x8190, 0x8190, 10},  // ＄
    {0x8193, 0x8193, 15},  // ％
    {0x8194, 0x8197, 13},  // ＃＆＊＠
    // Full-width digits and letters.
    {0x824F, 0x8258, 11},
    {0x8260, 0x8279, 13},
    {0x8268, 0x8268, 6},
    {0x826C, 0x826C, 15},
    {0x8276, 0x8276, 16},
    {0x8281, 0x829A, 11},
    {0x8286, 0x8286, 7},
    {0x8289, 0x8289, 4},
    {0x828A, 0x828A, 5},
    {0x828C, 0x828C, 4},
    {0x828D, 0x828D, 15},
    {0x8292, 0x8292, 7},
    {0x8294, 0x8294, 7},
    {0x8297, 0x8297, 15},
    // Hiragana: most 14, the narrow ones 12, the wide ones 16, the small ones 9 to 10.
    {0x829F, 0x82F1, 14},
    {0x829F, 0x829F, 10},
    {0x82A1, 0x82A1, 10},
    {0x82A3, 0x82A3, 10},
    {0x82A5, 0x82A5, 10},
    {0x82A7, 0x82A7, 10},
    {0x82C1, 0x82C1, 9},
    {0x82E1, 0x82E1, 10},
    {0x82E3, 0x82E3, 10},
    {0x82E5, 0x82E5, 10},
    {0x82EC, 0x82EC, 10},
    {0x82A2, 0x82A2, 12},
    {0x82AD, 0x82AE, 12},
    {0x82B1, 0x82B2, 12},
    {0x82B5, 0x82B6, 12},
    {0x82C2, 0x82C3, 12},
    {0x82C4, 0x82C5, 12},
    {0x82D6, 0x82D8, 12},
    {0x82E8, 0x82E8, 12},
    {0x82CA, 0x82CB, 16},
    {0x82DE, 0x82DF, 16},
    {0x82ED, 0x82ED, 16},
    {0x82F0, 0x82F0, 16},
    // Katakana, in the same way.
    {0x8340, 0x837E, 14},
    {0x8380, 0x8396, 14},
    {0x8340, 0x8340, 10},
    {0x8342, 0x8342, 10},
    {0x8344, 0x8344, 10},
    {0x8346, 0x8346, 10},
    {0x8348, 0x8348, 10},
    {0x8362, 0x8362, 9},
    {0x8383, 0x8383, 10},
    {0x8385, 0x8385, 10},
    {0x8387, 0x8387, 10},
    {0x838E, 0x838E, 10},
    {0x8395, 0x8396, 10},
    {0x836D, 0x836D, 11},
    {0x8367, 0x8368, 11},
    {0x835C, 0x835D, 12},
    {0x8393, 0x8393, 13},
    {0x836A, 0x836A, 13},
    {0x8377, 0x8379, 13},
    {0x8394, 0x8394, 16},
    {0x8390, 0x8390, 16},
    // Greek and Cyrillic.
    {0x839F, 0x83B6, 13},
    {0x83BF, 0x83D6, 12},
    {0x8440, 0x8460, 13},
    {0x8470, 0x847E, 12},
    {0x8480, 0x8491, 12},
    // First box-drawing character.
    {0x849F, 0x849F, 16},
};

constexpr std::array<uint8_t, 864> make_width2() {
  std::array<uint8_t, 864> t{};
  for (auto& v : t) v = 8;  // unassigned code points
  for (const Span& s : kSpans) {
    for (int c = s.from; c <= s.to; ++c) t[c - 0x8140] = s.w;
  }
  return t;
}

}  // namespace widths_detail

// Width of a single byte, 3 to 12.
inline constexpr std::array<uint8_t, 256> width1 = widths_detail::make_width1();
// Width of a Shift_JIS double byte from 0x8140 to 0x849F, index code - 0x8140, 4 to 16.
inline constexpr std::array<uint8_t, 864> width2 = widths_detail::make_width2();

// Width of a double byte: from width2 where it has a row, else 16.
constexpr int width_of_double(uint8_t lead, uint8_t trail) {
  int code = (lead << 8) | trail;
  return code >= 0x8140 && code <= 0x849F ? width2[code - 0x8140] : 16;
}

}  // namespace tz::tbl
