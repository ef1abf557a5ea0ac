#include "codes/cp932.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "codes/convert.h"

namespace tz {
namespace {

TEST(Cp932, RoundTripsCharactersSpecialToTheCodePage) {
  struct Case {
    const char* utf8;
    const char* sjis;
  } cases[] = {
      {"①", "\x87\x40"},
      {"髙", "\xFB\xFC"},
      {"～", "\x81\x60"},
      {"ⅰ", "\xFA\x40"},
      {"≒", "\x81\xE0"},
      {"ｱ", "\xB1"},
      {"abc", "abc"},
      {"∵", "\x81\xE6"},
      {"￢", "\x81\xCA"},
      {"Ⅰ", "\x87\x54"},
      {"㈱", "\x87\x8A"},
      {"纊", "\xFA\x5C"},
      {"\xEE\x80\x80", "\xF0\x40"},  // first character of the user-defined area
  };
  for (const Case& c : cases) {
    EXPECT_EQ(sjis_from_utf8(c.utf8), c.sjis) << c.utf8;
    EXPECT_EQ(utf8_from_sjis(c.sjis), c.utf8) << c.utf8;
  }
}

TEST(Cp932, DuplicatesAndOddBytesToUtf8) {
  struct Case {
    const char* what;
    const char* sjis;
    const char* utf8;
  } cases[] = {
      {"IBM because sign", "\xFA\x5B", "∵"},
      {"IBM not sign", "\xFA\x54", "￢"},
      {"NEC selection of an IBM kanji", "\xED\x40", "纊"},
      {"IBM Roman one", "\xFA\x4A", "Ⅰ"},
      {"0x80", "\x80", "\xC2\x80"},
      {"0xA0", "\xA0", "\xEF\xA3\xB0"},
      {"0xFD to 0xFF", "\xFD\xFE\xFF", "\xEF\xA3\xB1\xEF\xA3\xB2\xEF\xA3\xB3"},
      {"double byte without character", "\x85\x40", "・"},
      {"lead before a blank", "\x81 a", "・ a"},
      {"lone lead at the end", "a\x81", "a・"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(utf8_from_sjis(c.sjis), c.utf8) << c.what;
  }
}

// The characters of a Shift_JIS text one by one, each converted alone: a lead byte with a
// byte of 0x40 to 0xFC behind it is a pair, any other byte a character of its own.
std::string utf8_char_by_char(const std::string& sjis) {
  std::string out;
  for (size_t i = 0; i < sjis.size();) {
    const auto c = static_cast<unsigned char>(sjis[i]);
    const auto d = i + 1 < sjis.size() ? static_cast<unsigned char>(sjis[i + 1]) : 0u;
    const bool lead = (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
    const size_t len = lead && d >= 0x40 && d <= 0xFC ? 2 : 1;
    out += utf8_from_sjis(sjis.substr(i, len));
    i += len;
  }
  return out;
}

// Long texts go 64 bytes at a time where the processor can pack bytes: pairs across
// the blocks' edges, runs of lead bytes, lone leads, NULs and ASCII blocks among them.
TEST(Cp932, BlocksAgreeWithTheCharactersOneByOne) {
  const std::vector<std::string> pieces = {
      "\x82\xA0",
      "\x82\xF1",
      "\x88\x9F",
      "\xE0\x40",
      "\xFC\xFC",
      "\x81\x7F",
      "\x83\x80",
      "\x87\x40",
      "\x85\x40",
      "\x81\x81\x81",
      "\x9F\xE0\x81",
      "\x81",
      "\xFC",
      "\xB1",
      "\xA0",
      "\x80",
      "\xFD\xFE\xFF",
      std::string(1, '\0'),
      "\r\n",
      "<>",
      " ",
      "ID:abcdefg0",
      std::string(70, 'a'),
      "\x98\x9F\xEA\xA4",
  };
  std::mt19937 random(11);
  for (bool narrow : {false, true}) {
    SCOPED_TRACE(narrow ? "byte by byte" : "widest vectors");
    sweep_narrow(narrow);
    for (int round = 0; round < 3000; ++round) {
      std::string text;
      const size_t parts = 1 + random() % 120;
      for (size_t k = 0; k < parts; ++k) text += pieces[random() % pieces.size()];
      ASSERT_EQ(utf8_from_sjis(text), utf8_char_by_char(text)) << "round " << round;
    }
  }
  sweep_narrow(false);
}

TEST(Cp932, Utf8WithoutPlaceInTheCodePage) {
  struct Case {
    const char* what;
    const char* utf8;
    const char* sjis;
  } cases[] = {
      {"yen sign", "\xC2\xA5", "\\"},
      {"wave dash", "\xE3\x80\x9C", "\x81\x60"},
      {"minus sign", "\xE2\x88\x92", "\x81\x7C"},
      {"character the page lacks", "\xC3\xA9", "?"},
      // Beyond U+FFFF: two UTF-16 units, two default characters.
      {"character beyond the basic plane",
       "a\xF0\x9F\x98\x80"
       "b",
       "a??b"},
      {"sequence cut by the end", "a\xE3\x81", "a?"},
      {"sequence broken by ASCII",
       "\xE3\x81"
       "a",
       "?a"},
      {"stray continuation bytes", "\x80\x80", "??"},
      {"overlong form", "\xC0\xAF", "??"},
      {"overlong three bytes", "\xE0\x80\xAF", "???"},
      {"surrogate", "\xED\xA0\x80", "???"},
      {"beyond U+10FFFF", "\xF4\x90\x80\x80", "????"},
      {"five-byte form", "\xF8\x88\x80\x80\x80", "?????"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(sjis_from_utf8(c.utf8), c.sjis) << c.what;
  }
}

}  // namespace
}  // namespace tz
