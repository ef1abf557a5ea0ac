#include "codes/guess.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "codes/convert.h"
#include "run/run.h"

namespace tz {
namespace {

struct GuessCase {
  const char* what;
  std::string text;
  long limit;
  int code;
};

TEST(GuessCode, ScoresTheThreeCodes) {
  const GuessCase cases[] = {
      {"empty text", "", 100, kSjis},
      {"pure ASCII", "1<>name<>sage<>2008/01/01<> body <>title", 100, kSjis},
      {"hiragana in EUC-JP", "\xA4\xA2\xA4\xA4\xA4\xA6", 100, kEuc},
      {"hiragana in UTF-8", "\xE3\x81\x82\xE3\x81\x84\xE3\x81\x86", 100, kUtf8},
      {"hiragana in Shift_JIS", "\x82\xA0\x82\xA2\x82\xA4", 100, kSjis},
      {"kanji of level 2 in Shift_JIS", "\x98\x9F\xEA\xA4", 100, kSjis},
      {"half-width kana in Shift_JIS", "\xB1\xB2\xB3", 100, kSjis},
      // 8E B1 is worth 1 as EUC-JP but 4 as a Shift_JIS pair: 3 against 12 / 2.
      {"half-width kana in EUC-JP", "\x8E\xB1\x8E\xB2\x8E\xB3", 100, kSjis},
      {"katakana in EUC-JP", "\xA5\xA2\xA5\xA4", 100, kEuc},
      // e and u are both 1, s is -13 after halving.
      {"tie of EUC-JP and UTF-8", "\x8E\xC3\x8F", 100, kCodeAuto},
      // s is -25: halved towards minus infinity it is -13, below u = -12.
      {"halving rounds down", "\x80\x8E\xC3\xC3", 100, kUtf8},
      // The EUC-JP and Shift_JIS passes read n + 1 bytes: with limit 4, n is 2 and the
      // pair at offset 2 still counts for EUC-JP, but UTF-8 sees only "ab".
      {"byte at n counts", "ab\xA4\xA2", 4, kEuc},
      {"pair beyond n + 1", "ab\xA4\xA2", 3, kSjis},
      {"limit 0 still reads the first byte", "\xA4\xA2", 0, kEuc},
      {"negative limit", "\xA4\xA2\xA4\xA2", -5, kEuc},
      // Long texts are settled by bounds from the bytes before n: the pair at n is
      // beyond them, and still wins.
      {"pair at n of a long text", std::string(5000, 'a') + "\xA4\xA2", 5002, kEuc},
  };
  for (const GuessCase& c : cases) {
    EXPECT_EQ(guess_code(c.text.c_str(), c.limit), c.code) << c.what;
  }
}

TEST(GuessCode, SurvivesLongRunsOfBadBytes) {
  // 0x80 costs 30 points as Shift_JIS, 15 as EUC-JP and 1 as UTF-8: with 72 million
  // of them the Shift_JIS sum passes the range of 32 bits before it is halved.
  std::string text(72000000, '\x80');
  EXPECT_EQ(guess_code(text.c_str(), static_cast<long>(text.size()) + 2), kUtf8);
}

struct ChooseCase {
  const char* what;
  uint8_t code_in;
  uint32_t m2;
  uint8_t i_code;
  uint8_t tpl_list;
  uint8_t tpl_tree;
  int out, list, tree;
};

TEST(ChooseCode, OutputAndPageCodes) {
  const ChooseCase cases[] = {
      {"nothing known", 0, 0, 0, 0, 0, kSjis, 0, 0},
      {"code of the log", kEuc, 0, 0, kSjis, kUtf8, kEuc, kSjis, kUtf8},
      {"/m forces UTF-8", kEuc, 0x6, 0, 0, 0, kUtf8, 0, 0},
      {"/m forces EUC-JP", kSjis, 0x4, 0, 0, 0, kEuc, 0, 0},
      {"/i digit 10", kSjis, 0, kEuc, kSjis, kSjis, kSjis, kEuc, kEuc},
      {"Big5 wins everything", kBig5, 0x6, kUtf8, kSjis, kSjis, kBig5, kBig5, kBig5},
  };
  for (const ChooseCase& c : cases) {
    auto run = std::make_unique<tz::Run>();
    run->sflg.code_in = c.code_in;
    run->cmdm.m2 = c.m2;
    run->cmdm.i_code = c.i_code;
    run->tpl_code_list = c.tpl_list;
    run->tpl_code_tree = c.tpl_tree;
    EXPECT_EQ(choose_code(*run, 0), c.out) << c.what;
    EXPECT_EQ(choose_code(*run, 1), c.list) << c.what;
    EXPECT_EQ(choose_code(*run, 2), c.tree) << c.what;
  }
}

// Pieces of text in each code and bytes that each code calls invalid.
std::vector<std::string> guess_pieces() {
  return {
      sjis_from_utf8("ひらがなとカタカナと漢字、そして記号①㈱髙～"),
      sjis_from_utf8("ﾊﾝｶｸｶﾅ"),
      "\xA4\xA2\xA4\xA4\xA5\xA2\xB4\xC1\xBB\xFA\x8E\xB1",  // EUC-JP
      "\xE3\x81\x82\xE3\x81\x84\xE6\xBC\xA2\xE5\xAD\x97",  // UTF-8
      "ID:abcdefg0 <br> http://example.net/ ",
      "\x80\xA0\xFD\xFE\xFF\x8F\xC0\xC1",
      "\xF8\x88\x80\x80\x80\xFC\x84\x80\x80\x80\x80",
  };
}

// Pieces mixed at random: one in `odd_one_in` is any piece, the others of one kind.
std::string mixed_text(std::mt19937& random, int most_parts, int odd_one_in) {
  static const std::vector<std::string> pieces = guess_pieces();
  std::string text;
  int parts = 1 + static_cast<int>(random() % most_parts);
  int bias = static_cast<int>(random() % pieces.size());
  for (int i = 0; i < parts; ++i) {
    size_t k = random() % odd_one_in == 0 ? random() % pieces.size() : static_cast<size_t>(bias);
    text += pieces[k];
  }
  return text;
}

// Long texts skip passes by their bounds; cut at any byte (the limit falls inside a
// pair, the passes read one or two bytes beyond it), the verdict stays that of the
// three passes.
TEST(GuessCode, BoundsNeverChangeTheVerdict) {
  std::mt19937 random(7);
  int decided[4] = {};
  for (int round = 0; round < 1500; ++round) {
    std::string text = mixed_text(random, 1500, 300);
    if (text.size() < 4200) continue;
    long limit = 4100 + static_cast<long>(random() % (text.size() - 4100));
    int full = guess_by_passes(text.c_str(), limit);
    EXPECT_EQ(guess_code(text.c_str(), limit), full) << "round " << round;
    ++decided[full];
  }
  EXPECT_GT(decided[kSjis], 100);
  EXPECT_GT(decided[kEuc], 100);
  EXPECT_GT(decided[kUtf8], 100);
}

// The whole-log pass decides the code of a swept text with guess_swept; its result
// must be that of the passes on every text, whether the bounds settle it or not.
TEST(GuessSwept, AgreesWithTheFullGuess) {
  std::mt19937 random(42);
  int own_code_wins = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string text = mixed_text(random, 40, 3);
    for (int code = kSjis; code <= kUtf8; ++code) {
      std::string swept = text;
      int64_t own = 0;
      ASSERT_EQ(clean_text_scored(swept.data(), code, swept.size(), 0, &own), 0);
      long limit = static_cast<long>(swept.size()) + 16;
      int full = guess_by_passes(swept.c_str(), limit);
      const size_t len = strnlen(swept.c_str(), static_cast<size_t>(limit));
      EXPECT_EQ(guess_swept(swept.c_str(), len, limit, code, own), full) << "round " << round;
      if (full == code) ++own_code_wins;
    }
  }
  // Texts mostly of one code are where the bounds decide; there must be many of them.
  EXPECT_GT(own_code_wins, 1000);
}

// A floor of the Shift_JIS score settles a text only where the passes find Shift_JIS, and
// it settles most texts that are mostly Shift_JIS.
TEST(GuessSwept, AFloorOfTheScoreSettlesOnlyShiftJis) {
  std::mt19937 random(7);
  int sjis_texts = 0;
  int settled = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string swept = mixed_text(random, 40, 3);
    SjisSweep sweep(swept.data(), 0);
    LineEnds ends;
    const int64_t floor = sweep.finish_floor(swept.size(), &ends);
    long limit = static_cast<long>(swept.size()) + 16;
    const int full = guess_by_passes(swept.c_str(), limit);
    const size_t len = strnlen(swept.c_str(), static_cast<size_t>(limit));
    if (sjis_floor_settles(sweep.ranges(), len, limit, floor)) {
      ++settled;
      ASSERT_EQ(full, kSjis) << "round " << round;
    }
    if (full == kSjis) ++sjis_texts;
  }
  // These texts mix in half-width kana and the bytes of the other codes, which raise
  // their bounds: many need the exact score, but a floor must still settle some.
  EXPECT_GT(settled, sjis_texts / 10);

  // The lines of a log in Shift_JIS are settled by the floor.
  const std::string line = sjis_from_utf8(
      "名無しさん<>sage<>2008/01/01(火) 12:34:56 ID:abcdefg0<> 今日はいい天気ですね。"
      "カタカナも漢字も、全角のＡＢＣも <br> ﾊﾝｶｸ <>スレッドの題\n");
  for (int lines : {1, 10, 1000}) {
    std::string log;
    for (int i = 0; i < lines; ++i) log += line;
    SjisSweep sweep(log.data(), 0);
    LineEnds ends;
    const int64_t floor = sweep.finish_floor(log.size(), &ends);
    const long limit = static_cast<long>(log.size()) + 16;
    EXPECT_TRUE(sjis_floor_settles(sweep.ranges(), log.size(), limit, floor)) << lines << " lines";
  }
}

// The byte counts that the bounds are made of, in either width of vectors, against a
// count byte by byte: texts of all high bytes run past the 255 blocks after which the
// vector counters are summed.
TEST(GuessCode, CountsTheByteRangesOfTheBounds) {
  const struct {
    int64_t ByteRanges::*count;
    unsigned lo;
    unsigned hi;
  } ranges[] = {
      {&ByteRanges::high, 0x80, 0xFF},   {&ByteRanges::r80_A0, 0x80, 0xA0},
      {&ByteRanges::r8E_8F, 0x8E, 0x8F}, {&ByteRanges::r81_9F, 0x81, 0x9F},
      {&ByteRanges::rA1_DF, 0xA1, 0xDF}, {&ByteRanges::rC2_DF, 0xC2, 0xDF},
      {&ByteRanges::rE0_EF, 0xE0, 0xEF}, {&ByteRanges::rF0_FC, 0xF0, 0xFC},
      {&ByteRanges::rFD_FF, 0xFD, 0xFF}, {&ByteRanges::rFF, 0xFF, 0xFF},
  };
  std::mt19937 random(5);
  for (bool narrow : {false, true}) {
    SCOPED_TRACE(narrow ? "32-byte vectors" : "widest vectors");
    sweep_narrow(narrow);
    for (size_t size : {0ul, 63ul, 64ul, 200ul, 5000ul, 20000ul}) {
      std::string text(size, '\0');
      for (char& c : text) c = static_cast<char>(size == 20000 ? 0x80 + random() % 128 : random());
      const ByteRanges got = count_byte_ranges(text.data(), text.size());
      for (const auto& range : ranges) {
        int64_t want = 0;
        for (char c : text)
          want += static_cast<uint8_t>(c) >= range.lo && static_cast<uint8_t>(c) <= range.hi;
        EXPECT_EQ(got.*range.count, want) << size << " bytes, " << std::hex << range.lo;
      }
    }
  }
  sweep_narrow(false);
}

}  // namespace
}  // namespace tz
