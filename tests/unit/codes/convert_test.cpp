#include "codes/convert.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "run/run.h"
#include "run/stores.h"

namespace tz {
namespace {

std::unique_ptr<Run> fresh_run() {
  auto run = std::make_unique<Run>();
  init_stores(*run);
  fill_empty_slots(*run);
  output_setup(*run);
  run->waits = false;
  return run;
}

// The machine-dependent characters keep a place of their own in EUC-JP, also those
// that NEC row 13 holds too: a text written in EUC-JP must not turn the IBM code of
// ㈱ into the NEC one.
TEST(SjisToEuc, MachineDependentCharactersTakeTheirOwnPlace) {
  struct Case {
    const char* sjis;
    const char* euc;
    const char* what;
  } cases[] = {
      {"\xFA\x40", "\x8F\xF3\xF3", "small roman one"},
      {"\xFA\x49", "\x8F\xF3\xFC", "small roman ten"},
      {"\xFA\x4A", "\x8F\xF3\xFD", "roman one, also in NEC row 13"},
      {"\xFA\x4C", "\x8F\xF4\xA1", "roman three, past the end of row F3"},
      {"\xFA\x53", "\x8F\xF4\xA8", "roman ten"},
      {"\xFA\x54", "\xA2\xCC", "not sign, a JIS X 0208 character"},
      {"\xFA\x55", "\x8F\xA2\xC3", "broken bar, a JIS X 0212 character"},
      {"\xFA\x58", "\x8F\xF4\xAB", "parenthesised kabu"},
      {"\xFA\x59", "\x8F\xF4\xAC", "numero"},
      {"\xFA\x5A", "\x8F\xF4\xAD", "telephone sign"},
      {"\xFA\x5B", "\xA2\xE8", "because"},
      {"\xFA\x5C", "\x8F\xD4\xE3", "first IBM kanji"},
      {"\xFB\x40", "\x8F\xC7\xCB", "IBM kanji of the second lead byte"},
      {"\xFC\x40", "\x8F\xE9\xED", "IBM kanji of the third lead byte"},
      {"\xFC\x4B", "\x8F\xF4\xFE", "last IBM character, last user place"},
      {"\x87\x8A", "\xAD\xEA", "NEC row 13 kabu stays in row 13"},
      {"\x87\x40", "\xAD\xA1", "circled one, NEC row 13"},
      {"\xF0\x40", "\xA1\xA9", "user-defined area: full-width question mark"},
      {"\xB1", "\x8E\xB1", "half-width katakana"},
  };
  auto run = fresh_run();
  for (const Case& c : cases) {
    std::string text = c.sjis;
    convert_code(*run, text, kSjis, kEuc, 64);
    EXPECT_EQ(text, c.euc) << c.what;
  }
}

}  // namespace
}  // namespace tz
