#include "codes/convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "run/run.h"
#include "run/stores.h"

namespace tz {
namespace {

std::unique_ptr<Run> make_run() {
  auto run = std::make_unique<tz::Run>();
  init_stores(*run);
  fill_empty_slots(*run);
  output_setup(*run);
  run->waits = false;
  return run;
}

// Runs convert_code on a buffer whose room is `size`, however long the text.
std::string convert_in_room(Run& run, const std::string& text, int from, int to, size_t size) {
  std::vector<char> buf(std::max(size, text.size() + 1), '\0');
  std::copy(text.begin(), text.end(), buf.begin());
  convert_code(run, buf.data(), from, to, size);
  return std::string(buf.data());
}

// One text in the three codes; all of it survives every conversion.
struct Spelling {
  const char* what;
  const char* sjis;
  const char* euc;
  const char* utf8;
};

const Spelling kSpellings[] = {
    {"ASCII", "A<>b", "A<>b", "A<>b"},
    {"hiragana", "\x82\xA0", "\xA4\xA2", "\xE3\x81\x82"},
    {"katakana", "\x83\x41", "\xA5\xA2", "\xE3\x82\xA2"},
    {"first kanji of level 1", "\x88\x9F", "\xB0\xA1", "\xE4\xBA\x9C"},
    {"last kanji of level 2", "\xEA\xA4", "\xF4\xA6", "\xE7\x86\x99"},
    {"full-width blank", "\x81\x40", "\xA1\xA1", "\xE3\x80\x80"},
    {"full-width tilde", "\x81\x60", "\xA1\xC1", "\xEF\xBD\x9E"},
    {"because sign", "\x81\xE6", "\xA2\xE8", "\xE2\x88\xB5"},
    {"not sign", "\x81\xCA", "\xA2\xCC", "\xEF\xBF\xA2"},
    {"circled one (NEC row 13)", "\x87\x40", "\xAD\xA1", "\xE2\x91\xA0"},
    {"company sign (NEC row 13)", "\x87\x8A", "\xAD\xEA", "\xE3\x88\xB1"},
    {"Roman one (NEC row 13)", "\x87\x54", "\xAD\xB5", "\xE2\x85\xA0"},
    {"half-width kana", "\xB1\xB2", "\x8E\xB1\x8E\xB2", "\xEF\xBD\xB1\xEF\xBD\xB2"},
    {"a log line", "1<>\x96\xBC\x96\xB3\x82\xB5<>sage<>\xB1 x",
     "1<>\xCC\xBE\xCC\xB5\xA4\xB7<>sage<>\x8E\xB1 x",
     "1<>\xE5\x90\x8D\xE7\x84\xA1\xE3\x81\x97<>sage<>\xEF\xBD\xB1 x"},
};

TEST(ConvertCode, AllSixConversions) {
  auto run = make_run();
  for (const Spelling& s : kSpellings) {
    const char* by_code[4] = {nullptr, s.sjis, s.euc, s.utf8};
    for (int from = kSjis; from <= kUtf8; ++from) {
      for (int to = kSjis; to <= kUtf8; ++to) {
        EXPECT_EQ(convert_in_room(*run, by_code[from], from, to, 64), by_code[to])
            << s.what << " from " << from << " to " << to;
      }
    }
  }
}

struct OneWay {
  const char* what;
  int from;
  int to;
  std::string in;
  std::string out;
};

TEST(ConvertCode, ShiftJisToEucJpOfVendorAndOddBytes) {
  const OneWay cases[] = {
      {"small Roman one", kSjis, kEuc, "\xFA\x40", "\x8F\xF3\xF3"},
      {"first of lead FB", kSjis, kEuc, "\xFB\x40", "\x8F\xC7\xCB"},
      {"first of lead FC", kSjis, kEuc, "\xFC\x40", "\x8F\xE9\xED"},
      {"IBM not sign", kSjis, kEuc, "\xFA\x54", "\xA2\xCC"},
      {"IBM because sign", kSjis, kEuc, "\xFA\x5B", "\xA2\xE8"},
      {"IBM broken bar", kSjis, kEuc, "\xFA\x55", "\x8F\xA2\xC3"},
      {"IBM Roman one", kSjis, kEuc, "\xFA\x4A", "\x8F\xF3\xFD"},
      {"IBM company sign", kSjis, kEuc, "\xFA\x58", "\x8F\xF4\xAB"},
      {"IBM numero sign", kSjis, kEuc, "\xFA\x59", "\x8F\xF4\xAC"},
      {"IBM kanji of JIS X 0212", kSjis, kEuc, "\xFA\x5C", "\x8F\xD4\xE3"},
      {"IBM kanji of its own cell", kSjis, kEuc, "\xFB\xFC", "\x8F\xF4\xFB"},
      {"last IBM character", kSjis, kEuc, "\xFC\x4B", "\x8F\xF4\xFE"},
      {"IBM code point without character", kSjis, kEuc, "\xFA\x7F", "  "},
      {"NEC selection goes by arithmetic", kSjis, kEuc, "\xED\x40", "\xF9\xA1"},
      {"user-defined area, first", kSjis, kEuc, "\xF0\x40", "\xA1\xA9"},
      {"user-defined area, last", kSjis, kEuc, "\xF9\xFC", "\xA1\xA9"},
      {"single bytes FD to FF stay", kSjis, kEuc, "\xFD\xFE\xFF", "\xFD\xFE\xFF"},
      {"control bytes stay", kSjis, kEuc, "\x07\t", "\x07\t"},
      {"0x80 makes a pair with a blank", kSjis, kEuc, "\x80\x41", " \xA2"},
      {"lone lead at the end", kSjis, kEuc, "a\x82", "a\xA3"},
      {"lead before a byte below 0x40", kSjis, kEuc, "\x82 x", "\xA3 x"},
      {"IBM extension from UTF-8", kUtf8, kEuc, "\xE2\x85\xB0", "\x8F\xF3\xF3"},
      {"kanji only in the IBM rows, from UTF-8", kUtf8, kEuc, "\xE9\xAB\x99", "\x8F\xF4\xFB"},
  };
  auto run = make_run();
  for (const OneWay& c : cases) {
    EXPECT_EQ(convert_in_room(*run, c.in, c.from, c.to, 64), c.out) << c.what;
  }
}

TEST(ConvertCode, EucJpToShiftJisOfOddBytes) {
  const OneWay cases[] = {
      {"half-width kana", kEuc, kSjis, "\x8E\xB1", "\xB1"},
      // 8F is no lead here: 8F F3 is a pair of the tables, the third byte stands alone
      // and, being the last, is dropped.
      {"three-byte character", kEuc, kSjis, "\x8F\xF3\xF3", "\x8F\x93"},
      {"lone first byte at the end", kEuc, kSjis, "a\xA4\xA2\xA4", "a\x82\xA0"},
      {"A0 and FF give blanks", kEuc, kSjis, "\xA0\xA1\xA2\xFF", " \x9F\x81 "},
      {"0x80 is copied", kEuc, kSjis, "\x80z", "\x80z"},
      {"three-byte character to UTF-8", kEuc, kUtf8, "\xA4\xA2\x8F\xF3\xF3",
       "\xE3\x81\x82\xE8\x97\xB7"},
  };
  auto run = make_run();
  for (const OneWay& c : cases) {
    EXPECT_EQ(convert_in_room(*run, c.in, c.from, c.to, 64), c.out) << c.what;
  }
}

TEST(ConvertCode, GuessesOrLeavesAlone) {
  const OneWay cases[] = {
      {"guess of ASCII", kCodeAuto, kSjis, "plain <> text", "plain <> text"},
      {"guess of ASCII to UTF-8", kCodeAuto, kUtf8, "plain", "plain"},
      {"guess of EUC-JP", kCodeAuto, kSjis, "\xA4\xA2\xA4\xA4", "\x82\xA0\x82\xA2"},
      {"guess of UTF-8", kCodeAuto, kSjis, "\xE3\x81\x82\xE3\x81\x84", "\x82\xA0\x82\xA2"},
      {"same code", kEuc, kEuc, "\xA4\xA2\x80", "\xA4\xA2\x80"},
      {"Big5 source", kBig5, kUtf8, "\xA6\x57", "\xA6\x57"},
      {"Big5 target", kSjis, kBig5, "\x82\xA0", "\x82\xA0"},
      {"no target", kSjis, kCodeAuto, "\x82\xA0", "\x82\xA0"},
      // A tie of EUC-JP and UTF-8 is no code: nothing happens.
      {"guess ends in a tie", kCodeAuto, kSjis, "\x8E\xC3\x8F", "\x8E\xC3\x8F"},
  };
  auto run = make_run();
  for (const OneWay& c : cases) {
    EXPECT_EQ(convert_in_room(*run, c.in, c.from, c.to, 64), c.out) << c.what;
  }
}

struct RoomCase {
  const char* what;
  int from;
  int to;
  std::string in;
  size_t size;
  std::string out;
};

TEST(ConvertCode, CutsAtTheRoom) {
  const RoomCase cases[] = {
      // Nine bytes of UTF-8 are longer than a room of 8: cut at 8 - 3.
      {"UTF-8 longer than the room", kSjis, kUtf8, "\x82\xA0\x82\xA2\x82\xA4", 8,
       "\xE3\x81\x82\xE3\x81"},
      {"UTF-8 as long as the room", kSjis, kUtf8, "\x82\xA0\x82\xA2\x82\xA4", 9,
       "\xE3\x81\x82\xE3\x81\x84\xE3\x81"},
      {"UTF-8 that fits", kSjis, kUtf8, "\x82\xA0\x82\xA2\x82\xA4", 10,
       "\xE3\x81\x82\xE3\x81\x84\xE3\x81\x86"},
      {"UTF-8 in a room of 2", kSjis, kUtf8, "\x82\xA0", 2, ""},
      {"EUC-JP kana cut", kSjis, kEuc, "\xB1\xB2\xB3", 4, "\x8E\xB1\x8E"},
      {"EUC-JP that fits", kSjis, kEuc, "\xB1\xB2\xB3", 7, "\x8E\xB1\x8E\xB2\x8E\xB3"},
      // The room cuts the source: the broken character becomes one default character.
      {"UTF-8 source cut by the room", kUtf8, kSjis, "\xE3\x81\x82\xE3\x81\x84", 5, "\x82\xA0?"},
      {"EUC-JP in a room of 1", kEuc, kSjis, "\xA4\xA2", 1, ""},
      {"through Shift_JIS into EUC-JP", kUtf8, kEuc, "\xE2\x85\xB0\xE2\x85\xB0", 6,
       "\x8F\xF3\xF3\x8F\xF3"},
      {"through Shift_JIS into UTF-8", kEuc, kUtf8, "\xA4\xA2\xA4\xA4", 6, "\xE3\x81\x82\xE3\x81"},
  };
  auto run = make_run();
  for (const RoomCase& c : cases) {
    EXPECT_EQ(convert_in_room(*run, c.in, c.from, c.to, c.size), c.out) << c.what;
  }
}

TEST(ConvertCode, StringFormKeepsBelowTheRoom) {
  auto run = make_run();
  std::string text = "\x82\xA0\x82\xA2\x82\xA4";
  convert_code(*run, text, kSjis, kUtf8, 8);
  EXPECT_EQ(text, "\xE3\x81\x82\xE3\x81");
  text = "abcdef";
  convert_code(*run, text, kSjis, kSjis, 4);
  EXPECT_EQ(text, "abc");
}

// A text of 3,000 bytes in a room of 3,000: 100 kana and 2,798 ASCII fill the work
// block up to two bytes before its end, where `last` is converted.
std::string text_ending_in(const std::string& last) {
  return std::string(100, '\xB1') + std::string(2798, 'a') + last;
}

TEST(SjisToEuc, ThreeBytesAtTheEndOfTheWorkBlockStop) {
  auto run = make_run();
  std::string text = text_ending_in("\xFA\x40");
  std::vector<char> buf(text.begin(), text.end());
  buf.resize(3001, '\0');
  EXPECT_EXIT(sjis_to_euc(*run, buf.data(), 3000), testing::ExitedWithCode(6), "");
}

TEST(SjisToEuc, TwoBytesAtTheEndOfTheWorkBlockAreCut) {
  auto run = make_run();
  std::string text = text_ending_in("\x82\xA0\x82\xA0");
  std::vector<char> buf(text.begin(), text.end());
  buf.resize(3001, '\0');
  size_t n = sjis_to_euc(*run, buf.data(), 3000);
  ASSERT_EQ(n, 2999u);
  EXPECT_EQ(std::string(buf.data(), 4), "\x8E\xB1\x8E\xB1");
  // The first hiragana is cut after its first byte, the second never converted.
  EXPECT_EQ(std::string(buf.data() + 2996, 3), "aa\xA4");
  EXPECT_EQ(buf[2999], '\0');
}

struct CleanCase {
  const char* what;
  int code;
  std::string in;
  size_t size;  // 0: the length of `in`
  int whole;
  std::string out;
};

TEST(CleanText, SweepsEachCode) {
  const CleanCase cases[] = {
      {"Shift_JIS text stays", kSjis, "a\x82\xA0\xB1\x81\x40", 0, 0, "a\x82\xA0\xB1\x81\x40"},
      {"Shift_JIS bell", kSjis,
       "a\x07"
       "b",
       0, 0, "a b"},
      {"Shift_JIS kept controls", kSjis, "\t\n\v\f\r\x1A", 0, 0, "\t\n\v\f\r\x1A"},
      {"Shift_JIS bell at the end", kSjis, "a\x07", 0, 0, "a "},
      {"Shift_JIS lone lead at the end", kSjis, "ab\x81", 0, 0, "ab "},
      {"Shift_JIS lead before a blank", kSjis, "\x81 x", 0, 0, "  x"},
      {"Shift_JIS lead before a bell", kSjis, "\x81\x07x", 0, 0, "  x"},
      {"Shift_JIS lead before 0x7F", kSjis, "\x81\x7F", 0, 0, " \x7F"},
      {"Shift_JIS FD to FF stay", kSjis, "\xFD\xFE\xFF", 0, 0, "\xFD\xFE\xFF"},
      {"Shift_JIS 0x80 leading a pair", kSjis,
       "\x80"
       "a",
       0, 0, " a"},
      {"Shift_JIS 0x80 as the last byte", kSjis, "a\x80", 0, 0, "a\x80"},
      {"Shift_JIS pair cut by the size", kSjis, "a\x82\xA0", 2, 0, "a \xA0"},
      {"Shift_JIS stops at the NUL", kSjis, std::string("a\0\x07", 3), 0, 0,
       std::string("a\0\x07", 3)},
      {"Shift_JIS whole sweeps the NUL", kSjis, std::string("a\0\x07", 3), 0, 1, "a  "},
      {"EUC-JP text stays", kEuc, "\xA4\xA2\x8E\xB1\x8F\xA2\xC3", 0, 0,
       "\xA4\xA2\x8E\xB1\x8F\xA2\xC3"},
      {"EUC-JP bell", kEuc, "\x07", 0, 0, " "},
      {"EUC-JP kept controls", kEuc, "\t\n\v\f\r\x1A", 0, 0, "\t\n\v\f\r\x1A"},
      {"EUC-JP lone first byte", kEuc, "a\xA4", 0, 0, "a "},
      {"EUC-JP first byte before ASCII", kEuc,
       "\xA4"
       "A",
       0, 0, " A"},
      {"EUC-JP kana out of range", kEuc, "\x8E\xE0", 0, 0, "  "},
      {"EUC-JP 0x80", kEuc,
       "\x80"
       "a",
       0, 0, " a"},
      {"UTF-8 text stays", kUtf8,
       "\xE3\x81\x82\xC3\xA9"
       "a",
       0, 0,
       "\xE3\x81\x82\xC3\xA9"
       "a"},
      {"UTF-8 bell", kUtf8, "\x07", 0, 0, " "},
      {"UTF-8 kept controls", kUtf8, "\t\n\v\f\r\x1A", 0, 0, "\t\n\v\f\r\x1A"},
      {"UTF-8 sequence cut by the end", kUtf8, "a\xE3\x81", 0, 0, "a  "},
      // The byte that breaks a sequence goes with it, a line feed as well.
      {"UTF-8 sequence broken by ASCII", kUtf8,
       "\xE3\x81"
       "AB",
       0, 0, "   B"},
      {"UTF-8 sequence broken by a line feed", kUtf8, "\xE3\x81\n", 0, 0, "   "},
      {"UTF-8 sequence broken by a lead", kUtf8, "\xE3\xE3\x81\x82", 0, 0, "    "},
      {"UTF-8 stray continuation", kUtf8,
       "\x80"
       "a",
       0, 0, " a"},
      {"UTF-8 lead C0 and C1", kUtf8, "\xC0\xAF\xC1", 0, 0, "   "},
      {"UTF-8 FE and FF", kUtf8, "\xFE\xFF", 0, 0, "  "},
      {"UTF-8 five bytes", kUtf8, "\xF8\x88\x80\x80\x80", 0, 0, "\xF8\x88\x80\x80\x80"},
      {"UTF-8 six bytes", kUtf8, "\xFC\x84\x80\x80\x80\x80", 0, 0, "\xFC\x84\x80\x80\x80\x80"},
      {"UTF-8 cut by the size", kUtf8, "\xE3\x81\x82", 2, 0, "  \x82"},
      {"UTF-8 whole sweeps the NUL", kUtf8, std::string("\xC3\0a", 3), 0, 1, "  a"},
  };
  for (const CleanCase& c : cases) {
    std::string text = c.in;
    size_t size = c.size ? c.size : text.size();
    EXPECT_EQ(clean_text(text.data(), c.code, size, c.whole), 0) << c.what;
    EXPECT_EQ(text, c.out) << c.what;
  }
}

TEST(CleanText, LeavesCodesItDoesNotKnow) {
  for (int code : {int{kCodeAuto}, int{kBig5}, 5}) {
    std::string text = "\x07\x81";
    EXPECT_EQ(clean_text(text.data(), code, text.size(), 1), 1);
    EXPECT_EQ(text, "\x07\x81");
  }
}

TEST(Base64, VectorsOfTheStandard) {
  const struct {
    std::string plain;
    std::string coded;
  } cases[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\x82\xA0\xFF\xFE", "gqD//g=="},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(to_base64(c.plain), c.coded) << c.plain;
    EXPECT_EQ(from_base64(c.coded), c.plain) << c.coded;
  }
  // Decoding stops at the padding and passes over what is not of the alphabet.
  EXPECT_EQ(from_base64("Zm9v\r\nYmFy"), "foobar");
  EXPECT_EQ(from_base64("Zg==Zm8="), "f");
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
  auto run = make_run();
  for (const Case& c : cases) {
    std::string text = c.sjis;
    convert_code(*run, text, kSjis, kEuc, 64);
    EXPECT_EQ(text, c.euc) << c.what;
  }
}

}  // namespace
}  // namespace tz
