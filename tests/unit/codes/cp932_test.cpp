#include "codes/cp932.h"

#include <gtest/gtest.h>

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
