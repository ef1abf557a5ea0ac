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
      {"①", "\x87\x40"}, {"髙", "\xFB\xFC"}, {"～", "\x81\x60"}, {"ⅰ", "\xFA\x40"},
      {"≒", "\x81\xE0"}, {"ｱ", "\xB1"},     {"abc", "abc"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(sjis_from_utf8(c.utf8), c.sjis) << c.utf8;
    EXPECT_EQ(utf8_from_sjis(c.sjis), c.utf8) << c.utf8;
  }
}

}  // namespace
}  // namespace tz
