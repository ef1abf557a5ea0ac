#include "codes/convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "../test_run.h"
#include "common/byte_tables.h"
#include "run/run.h"
#include "run/stores.h"

namespace tz {
namespace {

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
  auto run = make_test_run();
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
  auto run = make_test_run();
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
  auto run = make_test_run();
  for (const OneWay& c : cases) {
    EXPECT_EQ(convert_in_room(*run, c.in, c.from, c.to, 64), c.out) << c.what;
  }
}

// EUC-JP to Shift_JIS in place over long texts, against the same conversion one
// character at a time (texts too short for the vector runs): half-width kana make the
// text shorter, so the runs behind them are moved while they are read.
TEST(ConvertCode, EucJpToShiftJisInPlaceAgreesCharacterByCharacter) {
  const std::string pieces[] = {
      "a",        "0123456789abcdefghijklmnopqrstuvwxyz", "\x8E\xB1", "\xA4\xA2", "\x80",
      "\xB0\xA1", "\xDE\xFE\xDF\xA1\xFE\xE0\xA1\xDF",     "\xFF\xFE", "\n",
  };
  for (bool narrow : {false, true}) {
    SCOPED_TRACE(narrow ? "byte by byte" : "widest vectors");
    sweep_narrow(narrow);
    std::mt19937 random(11);
    for (int round = 0; round < 3000; ++round) {
      std::string in;
      const int n = 1 + static_cast<int>(random() % 40);
      for (int k = 0; k < n; ++k) in += pieces[random() % std::size(pieces)];
      if (round % 7 == 0) in.insert(random() % in.size(), 1, '\0');
      if (round % 5 == 0) in += "\xA4";  // a lone first byte at the end

      std::string want;
      for (size_t i = 0; i < in.size() && in[i] != '\0';) {
        const size_t len = static_cast<unsigned char>(in[i]) <= 0x80 ? 1 : 2;
        if (len == 2 && (i + 1 == in.size() || in[i + 1] == '\0')) break;  // dropped; the end
        std::string one = in.substr(i, len);
        one.resize(one.size() + 1, '\0');
        want.append(one.data(), euc_to_sjis(one.data(), one.size()));
        i += len;
      }
      std::string text = in;
      const size_t got = euc_to_sjis(text.data(), text.size());
      ASSERT_EQ(text.substr(0, got), want) << "round " << round;
    }
  }
  sweep_narrow(false);
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
  auto run = make_test_run();
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
  auto run = make_test_run();
  for (const RoomCase& c : cases) {
    EXPECT_EQ(convert_in_room(*run, c.in, c.from, c.to, c.size), c.out) << c.what;
  }
}

TEST(ConvertCode, StringFormKeepsBelowTheRoom) {
  auto run = make_test_run();
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
  auto run = make_test_run();
  std::string text = text_ending_in("\xFA\x40");
  std::vector<char> buf(text.begin(), text.end());
  buf.resize(3001, '\0');
  EXPECT_EXIT(sjis_to_euc(*run, buf.data(), 3000), testing::ExitedWithCode(6), "");
}

TEST(SjisToEuc, TwoBytesAtTheEndOfTheWorkBlockAreCut) {
  auto run = make_test_run();
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

// The sweeps byte by byte, as the program first had them: what the sweeps over whole
// blocks must agree with, bytes and score.
// `outer` is what a pair outside 0x989F-0xEAA4 scores: 4 as the guess counts it, 2 for
// the floor of the piecewise sweep.
int64_t sjis_swept_bytewise(std::string& s, size_t from, int outer) {
  auto* t = reinterpret_cast<unsigned char*>(s.data());
  size_t n = s.size();
  int64_t score = 0;
  size_t i = 0;
  while (i + 1 < n) {
    unsigned c = t[i];
    unsigned d = t[i + 1];
    if ((tbl::sjis[c] & tbl::kLead) && (tbl::sjis[d] & tbl::kTrail)) {
      unsigned v = (c << 8) | d;
      if (i >= from) score += (v >= 0x989F && v <= 0xEAA4) ? 2 : outer;
      i += 2;
    } else if (tbl::sjis[c] & (tbl::kSingle | tbl::kKana)) {
      t[i] = tbl::ctrl_blank[c];
      if (t[i] == c && c >= 0x80 && i >= from) score += c >= 0xFD ? -30 : 1;
      ++i;
    } else {
      t[i++] = ' ';
    }
  }
  if (i < n) {
    unsigned c = tbl::ctrl_blank[t[i]];
    if (tbl::sjis[c] & tbl::kLead) c = ' ';
    t[i] = static_cast<unsigned char>(c);
    if (c >= 0x80 && i >= from) score += (c >= 0xA1 && c <= 0xDF) ? 1 : -30;
  }
  return score;
}

int64_t sjis_swept_bytewise(std::string& s, size_t from) {
  return sjis_swept_bytewise(s, from, 4);
}

int64_t euc_swept_bytewise(std::string& s, size_t from) {
  auto* t = reinterpret_cast<unsigned char*>(s.data());
  size_t n = s.size();
  int64_t score = 0;
  for (size_t i = 0; i < n; ++i) {
    unsigned c = tbl::ctrl_blank[t[i]];
    t[i] = static_cast<unsigned char>(c);
    if (c <= 0x7F || c == 0x8F) continue;
    unsigned d = i + 1 < n ? t[i + 1] : 0;
    bool pair =
        (c >= 0xA1 && c <= 0xFE && d >= 0xA1 && d <= 0xFE) || (c == 0x8E && d >= 0xA1 && d <= 0xDF);
    if (!pair) {
      t[i] = ' ';
      continue;
    }
    if (i >= from) {
      unsigned v = (c << 8) | d;
      score += ((v >= 0xB0A1 && v <= 0xF4FE) || c == 0x8E) ? 1 : 2;
      if (c == 0xA4 || c == 0xA5) score += 3;
    }
    ++i;
  }
  return score;
}

int64_t utf8_swept_bytewise(std::string& s, size_t from) {
  auto* t = reinterpret_cast<unsigned char*>(s.data());
  size_t n = s.size();
  int64_t score = 0;
  size_t i = 0;
  while (i < n) {
    unsigned c = tbl::ctrl_blank[t[i]];
    t[i] = static_cast<unsigned char>(c);
    if (c <= 0x7F) {
      ++i;
    } else if (c < 0xC2 || c > 0xFD) {
      t[i++] = ' ';
    } else {
      size_t len = c <= 0xDF ? 2 : c <= 0xEF ? 3 : c <= 0xF7 ? 4 : c <= 0xFB ? 5 : 6;
      size_t k = 1;
      while (k < len && i + k < n && (t[i + k] & 0xC0) == 0x80) ++k;
      if (k == len) {
        if (i >= from) score += static_cast<int64_t>(len);
        i += len;
        continue;
      }
      size_t stop = i + k < n ? i + k + 1 : n;
      for (; i < stop; ++i) t[i] = ' ';
    }
  }
  return score;
}

struct BlockCase {
  const char* what;
  std::string in;
  size_t from;
  std::string out;
  int64_t score;
};

std::string as(size_t n) {
  return std::string(n, 'a');
}
std::string times(size_t n, const char* piece) {
  std::string s;
  for (size_t k = 0; k < n; ++k) s += piece;
  return s;
}

void check_blocks(int code, const BlockCase* cases, size_t count) {
  for (size_t k = 0; k < count; ++k) {
    const BlockCase& c = cases[k];
    std::vector<char> text(c.in.begin(), c.in.end());  // no room behind, for the sanitizer
    int64_t score = 0;
    ASSERT_EQ(clean_text_scored(text.data(), code, text.size(), c.from, &score), 0);
    EXPECT_EQ(std::string(text.begin(), text.end()), c.out) << c.what;
    EXPECT_EQ(score, c.score) << c.what;
  }
}

// The sweeps pass over 64 bytes at a time: characters across the edges of the blocks.
TEST(CleanText, ShiftJisAcrossTheBlocks) {
  const BlockCase cases[] = {
      {"lead at 63 pairs with a trail at 64", as(63) + "\x82\xA0" + as(9), 0,
       as(63) + "\x82\xA0" + as(9), 4},
      {"lead at 63 before a blank", as(63) + "\x82 " + as(9), 0, as(63) + "  " + as(9), 0},
      {"lead at 63 before a bell", as(63) + "\x81\x07" + as(9), 0, as(63) + "  " + as(9), 0},
      {"0x80 at 64 trails a lead", as(63) + "\x81\x80" + as(9), 0, as(63) + "\x81\x80" + as(9), 4},
      {"0x80 at 64 behind a whole pair", as(62) + "\x82\xA0\x80" + as(9), 0,
       as(62) + "\x82\xA0 " + as(9), 4},
      {"0xA0 at 64 behind ASCII", as(64) + "\xA0" + as(9), 0, as(64) + " " + as(9), 0},
      {"kana at 64 trails a lead", as(63) + "\x83\xB1" + as(9), 0, as(63) + "\x83\xB1" + as(9), 4},
      {"kana at 64 alone", as(64) + "\xB1" + as(9), 0, as(64) + "\xB1" + as(9), 1},
      {"run of 64 leads pairs whole", times(64, "\x88") + " " + as(9), 0,
       times(64, "\x88") + " " + as(9), 128},
      {"run of 65 leads pairs its last with an 'A'", times(65, "\x88") + "A" + as(9), 0,
       times(65, "\x88") + "A" + as(9), 132},
      {"run of 65 leads before a blank", times(65, "\x88") + " " + as(9), 0,
       times(64, "\x88") + "  " + as(9), 128},
      {"run of 64 leads from 1", "a" + times(64, "\x88") + " " + as(9), 0,
       "a" + times(64, "\x88") + " " + as(9), 128},
      {"run of 65 leads from 1", "a" + times(65, "\x88") + " " + as(9), 0,
       "a" + times(64, "\x88") + "  " + as(9), 128},
      {"lead at 127 pairs with the last byte", as(127) + "\x81\x40", 0, as(127) + "\x81\x40", 4},
      {"lone lead as the last byte", as(128) + "\x81", 0, as(128) + " ", 0},
      {"0xFD-0xFF count against", as(63) + "\xFD\xFE" + as(9), 0, as(63) + "\xFD\xFE" + as(9), -60},
      {"0x98 and 0xEA pairs decided by the second byte",
       as(60) + "\x98\x9E\x98\x9F\xEA\xA4\xEA\xA5" + as(9), 0,
       as(60) + "\x98\x9E\x98\x9F\xEA\xA4\xEA\xA5" + as(9), 12},
      {"from leaves out the pairs before it", times(70, "\x88") + as(9), 3,
       times(70, "\x88") + as(9), 4 * 33},
      {"from in the second block", times(70, "\x88") + as(9), 65, times(70, "\x88") + as(9), 8},
      {"from past the end", times(70, "\x88") + "\xB1" + as(9), 200,
       times(70, "\x88") + "\xB1" + as(9), 0},
  };
  check_blocks(kSjis, cases, std::size(cases));
}

TEST(CleanText, EucJpAcrossTheBlocks) {
  const BlockCase cases[] = {
      {"pair across 63 and 64", as(63) + "\xA4\xA2" + as(9), 0, as(63) + "\xA4\xA2" + as(9), 5},
      {"first byte at 63 before a blank", as(63) + "\xA4 " + as(9), 0, as(63) + "  " + as(9), 0},
      {"0x8E at 63 with its kana at 64", as(63) + "\x8E\xB1" + as(9), 0,
       as(63) + "\x8E\xB1" + as(9), 1},
      {"0x8E at 63 before no kana", as(63) + "\x8E\xE0" + as(9), 0, as(63) + "  " + as(9), 0},
      {"0x8E, its kana, then a pair", as(62) + "\x8E\xB1\xA4\xA2" + as(9), 0,
       as(62) + "\x8E\xB1\xA4\xA2" + as(9), 6},
      {"0x8F stands alone before a pair", as(63) + "\x8F\xA2\xC3" + as(9), 0,
       as(63) + "\x8F\xA2\xC3" + as(9), 2},
      {"run of 65 before ASCII", times(65, "\xB0") + as(10), 0, times(64, "\xB0") + " " + as(10),
       32},
      {"run of 64 from 1", "a" + times(64, "\xB0") + as(9), 0, "a" + times(64, "\xB0") + as(9), 32},
      {"0xFF and 0xA0 at 64", as(64) + "\xFF\xA0" + as(9), 0, as(64) + "  " + as(9), 0},
      {"bell at 64", as(64) + "\x07\n" + as(9), 0, as(64) + " \n" + as(9), 0},
      {"lone first byte as the last byte", as(128) + "\xA4", 0, as(128) + " ", 0},
      {"from in the second block", times(70, "\xA4") + as(9), 65, times(70, "\xA4") + as(9), 10},
  };
  check_blocks(kEuc, cases, std::size(cases));
}

// Texts that stress the sweeps over whole blocks: the bytes that each sweep treats in a
// way of its own, long runs of lead bytes, and faults at the edges of the blocks.
class SweepTexts {
 public:
  explicit SweepTexts(int code) : code_(code), random_(code) {
    const char* japanese[] = {
        "名無しさん<><>2008/05/11(日) 19:18:34 ID:BN4CZEYf<> ",
        "近所の夏祭りを申し込んだ試験を解約した…今年の桜のバスが消えた(笑)",
        " <br> スレ立て乙 <br> ",
        "①㈱髙～ｗｗｗ弌腕熙",
        "ﾊﾝｶｸｶﾅ(´・ω・`)",
        "\n",
        "&gt;&gt;1 http://example.net/test/read.cgi/a/1/ ",
        "ぶっちゃけ猫を忘れた。",
        "Ünïcödé ±§ 𠮷野家 🍣",
    };
    auto run = std::make_unique<Run>();
    init_stores(*run);
    fill_empty_slots(*run);
    output_setup(*run);
    run->waits = false;
    for (const char* piece : japanese) {
      if (code == kUtf8) {
        pieces_.emplace_back(piece);
        continue;
      }
      std::string text = sjis_from_utf8(piece);
      if (code == kEuc) convert_code(*run, text, kSjis, kEuc, 4 * text.size() + 8);
      pieces_.push_back(text);
    }
  }

  std::string next() {
    std::string s;
    size_t n = random_() % 700;
    switch (random_() % 4) {
      case 0:  // bytes at random, half of them troublesome
        while (s.size() < n) s += static_cast<char>(random_() % 2 ? odd_byte() : random_());
        break;
      case 1:  // mostly lead bytes, in runs of every length
        while (s.size() < n) {
          s.append(random_() % 80, static_cast<char>(lead_byte()));
          s += static_cast<char>(odd_byte());
        }
        break;
      default:  // a log with faults
        while (s.size() < n) s += pieces_[random_() % pieces_.size()];
        for (int k = static_cast<int>(random_() % 8); k > 0 && !s.empty(); --k) {
          size_t at = near_edge(s.size());
          s[at] = static_cast<char>(random_() % 3 ? odd_byte() : lead_byte());
        }
    }
    return s;
  }

  // Where the score begins: the start, the edges of the blocks, anywhere, past the end.
  size_t from(size_t n) {
    switch (random_() % 4) {
      case 0:
        return 0;
      case 1:
        return near_edge(n + 2);
      default:
        return random_() % (n + 3);
    }
  }

 private:
  unsigned odd_byte() {
    static const unsigned char bytes[] = {
        0x00, 0x07, 0x09, 0x0A, 0x0D, 0x1A, 0x1F, 0x20, 0x3F, 0x40, 0x41, 0x7E, 0x7F,
        0x80, 0x81, 0x8E, 0x8F, 0x97, 0x98, 0x99, 0x9E, 0x9F, 0xA0, 0xA1, 0xA4, 0xA5,
        0xAF, 0xB0, 0xDF, 0xE0, 0xE9, 0xEA, 0xEB, 0xF4, 0xF5, 0xFC, 0xFD, 0xFE, 0xFF};
    return bytes[random_() % std::size(bytes)];
  }
  unsigned lead_byte() {
    if (code_ == kUtf8) return 0xC0 + random_() % 0x40;
    if (code_ == kSjis) return random_() % 2 ? 0x81 + random_() % 0x1F : 0xE0 + random_() % 0x1D;
    return 0xA1 + random_() % 0x5E;
  }
  size_t near_edge(size_t n) {
    size_t at = (random_() % (n / 64 + 1)) * 64 + random_() % 5;
    at = at >= 2 ? at - 2 : 0;
    if (random_() % 8 == 0) at = n - 1;
    return at < n ? at : n - 1;
  }

  int code_;
  std::mt19937 random_;
  std::vector<std::string> pieces_;
};

void sweep_against_bytewise(int code, int64_t (*bytewise)(std::string&, size_t)) {
  SweepTexts texts(code);
  for (int round = 0; round < 6000; ++round) {
    const std::string in = texts.next();
    std::string want = in;
    size_t from = texts.from(in.size());
    int64_t want_score = bytewise(want, from);

    std::vector<char> text(in.begin(), in.end());
    int64_t score = 0;
    ASSERT_EQ(clean_text_scored(text.data(), code, text.size(), from, &score), 0);
    std::string got(text.begin(), text.end());
    ASSERT_EQ(got, want) << "round " << round << ", " << in.size() << " bytes, first change at "
                         << std::mismatch(got.begin(), got.end(), want.begin()).first - got.begin();
    ASSERT_EQ(score, want_score) << "round " << round << ", from " << from;

    std::vector<char> plain(in.begin(), in.end());
    clean_text(plain.data(), code, plain.size(), 1);
    ASSERT_EQ(std::string(plain.begin(), plain.end()), want) << "round " << round;

    // The sweep that counts line ends: the same text, and the ends of the swept text.
    std::vector<char> counted(in.begin(), in.end());
    LineEnds ends;
    clean_text_counted(counted.data(), code, counted.size(), &ends);
    ASSERT_EQ(std::string(counted.begin(), counted.end()), want) << "round " << round;
    ASSERT_EQ(ends.lf, static_cast<size_t>(std::count(want.begin(), want.end(), '\n')))
        << "round " << round;
    ASSERT_EQ(ends.cr, static_cast<size_t>(std::count(want.begin(), want.end(), '\r')))
        << "round " << round;

    if (code != kSjis) continue;
    // The same sweep over pieces as they are read: cut anywhere, near block edges too.
    std::vector<char> pieces(in.begin(), in.end());
    SjisSweep sweep(pieces.data());
    for (size_t have = 0; have < in.size();) {
      have += round % 3 == 0 ? 64 * (1 + round % 5) + round % 7 - 3 : 1 + texts.from(in.size());
      sweep.take(have < in.size() ? have : in.size());
    }
    const LineEnds piece_ends = sweep.finish(in.size());
    ASSERT_EQ(std::string(pieces.begin(), pieces.end()), want) << "round " << round;
    ASSERT_EQ(piece_ends.lf, ends.lf) << "round " << round;
    ASSERT_EQ(piece_ends.cr, ends.cr) << "round " << round;

    // And the sweep that scores a floor, over the same pieces: every pair counts 2.
    std::string floor_text = in;
    const int64_t want_floor = sjis_swept_bytewise(floor_text, from, 2);
    std::vector<char> scored(in.begin(), in.end());
    SjisSweep scoring(scored.data(), from);
    for (size_t have = 0; have < in.size();) {
      have += round % 3 == 1 ? 64 * (1 + round % 4) + round % 5 - 2 : 1 + texts.from(in.size());
      scoring.take(have < in.size() ? have : in.size());
    }
    LineEnds scored_ends;
    ASSERT_EQ(scoring.finish_floor(in.size(), &scored_ends), want_floor) << "round " << round;
    ASSERT_EQ(std::string(scored.begin(), scored.end()), want) << "round " << round;
    ASSERT_EQ(scored_ends.lf, ends.lf) << "round " << round;
    ASSERT_EQ(scored_ends.cr, ends.cr) << "round " << round;
    // Its byte counts, made piece by piece, are those of the swept text from `from` on,
    // with 0xF0 to 0xFF as one range and the ranges it leaves out at 0.
    const size_t start = std::min(from, want.size());
    ByteRanges whole = count_byte_ranges(want.data() + start, want.size() - start);
    whole.rF0_FC += whole.rFD_FF;
    whole.r81_9F = whole.rA1_DF = whole.rFD_FF = whole.rFF = 0;
    const ByteRanges& piece_counts = scoring.ranges();
    const int64_t ByteRanges::*fields[] = {
        &ByteRanges::high,   &ByteRanges::r80_A0, &ByteRanges::r8E_8F, &ByteRanges::r81_9F,
        &ByteRanges::rA1_DF, &ByteRanges::rC2_DF, &ByteRanges::rE0_EF, &ByteRanges::rF0_FC,
        &ByteRanges::rFD_FF, &ByteRanges::rFF};
    for (auto field : fields) ASSERT_EQ(piece_counts.*field, whole.*field) << "round " << round;

    // Where the floor settles nothing, the exact score comes from sweeping the swept text
    // again: that changes nothing and scores as the first sweep did.
    int64_t again = 0;
    clean_text_scored(scored.data(), code, scored.size(), from, &again);
    ASSERT_EQ(std::string(scored.begin(), scored.end()), want) << "round " << round;
    ASSERT_EQ(again, want_score) << "round " << round;
  }
}

TEST(CleanText, ShiftJisAgreesWithTheBytewiseSweep) {
  // Both vector widths, whichever this processor has.
  for (bool narrow : {false, true}) {
    SCOPED_TRACE(narrow ? "16-byte vectors" : "widest vectors");
    sweep_narrow(narrow);
    sweep_against_bytewise(kSjis, sjis_swept_bytewise);
  }
  sweep_narrow(false);
}

TEST(CleanText, EucJpAgreesWithTheBytewiseSweep) {
  sweep_against_bytewise(kEuc, euc_swept_bytewise);
}

TEST(CleanText, Utf8AgreesWithTheBytewiseSweep) {
  sweep_against_bytewise(kUtf8, utf8_swept_bytewise);
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
  auto run = make_test_run();
  for (const Case& c : cases) {
    std::string text = c.sjis;
    convert_code(*run, text, kSjis, kEuc, 64);
    EXPECT_EQ(text, c.euc) << c.what;
  }
}

}  // namespace
}  // namespace tz
