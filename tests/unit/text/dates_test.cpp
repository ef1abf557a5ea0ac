#include "text/dates.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "../test_run.h"
#include "codes/convert.h"
#include "run/run.h"
#include "run/stores.h"

namespace tz {
namespace {

// 2005-06-01 00:00 UTC: a thread key of 2005 in any time zone.
constexpr int32_t kKey2005 = 1117584000;

std::unique_ptr<Run> make_run(int code_out = kSjis) {
  auto run = make_test_run();
  run->code_out = static_cast<uint8_t>(code_out);
  select_strings(*run, 2);
  return run;
}

std::string sj(const char* utf8) {
  return sjis_from_utf8(utf8);
}

// The 16 bytes of a digits buffer; a date that wasn't read shows its leading NUL.
std::string digits16(const char* d) {
  return std::string(d, 16);
}

TEST(ReadDate, ReadsTheFormsOfTheDateField) {
  struct Case {
    const char* text;
    int32_t key;
    std::string digits;
    int year_digits, year_last, time_digits, weekday, adjust, prefix, start, end;
  } cases[] = {
      {"2006/01/01(日) 12:34:56 ID:abcdefg0", 0, "2006010112345600", 4, 0, 6, 1, 0, 0, 0, 23},
      {"2006/01/01(日) 12:34 ID:abc", 0, "2006010112340000", 4, 0, 4, 1, 0, 0, 0, 20},
      {"2006/01/01(日) 12:34:56.78 ID:abc", 0, "2006010112345678", 4, 0, 8, 1, 0, 0, 0, 26},
      {"05/01/01 12:34", 0, "2005010112340000", 2, 0, 4, 0, 0, 0, 0, 14},
      {"99/12/31 23:59", 0, "1999123123590000", 2, 0, 4, 0, 0, 0, 0, 14},
      {"01/02/2006 12:00", 0, "2006010212000000", 4, 1, 4, 0, 0, 0, 0, 16},
      {"2006/01/01(日) 12:34:56 ID:abc BE:123456-2BP(0)", 0, "2006010112345600", 4, 0, 6, 1, 0, 0,
       0, 23},
      // The BE level behind a real time is not read as the time.
      {"2006/01/01(日) 12:34:56 ID:abc <BE:123456:4>", 0, "2006010112345600", 4, 0, 6, 1, 0, 0, 0,
       23},
      {"2006/01/01(日) 12:34:56 ID:abc [ host ]", 0, "2006010112345600", 4, 0, 6, 1, 0, 0, 0, 23},
      {"2006/01/01(abc) 12:34", 0, "2006010112340000", 4, 0, 4, 2, 0, 0, 0, 21},
      // Repaired dates.
      {"2006/03/32(土) 12:00:00", 0, "2006040112000000", 4, 0, 6, 1, 1, 0, 0, 23},
      {"2006/03/31(金) 12:00:00", 0, "2006033112000000", 4, 0, 6, 1, 0, 0, 0, 23},
      {"2007/02/15(水) 12:00", 0, "2007021412000000", 4, 0, 4, 1, 0, 0, 0, 20},
      {"2007/02/15(木) 12:00", 0, "2007021512000000", 4, 0, 4, 1, 0, 0, 0, 20},
      // Something before the date: the year repair.
      {"皇紀2665/01/01(土) 12:34", 0, "2005010112340000", 4, 0, 4, 1, 0, 1, 4, 24},
      {"平成18/01/01(日) 12:34", kKey2005, "2006010112340000", 2, 0, 4, 1, 1, 1, 4, 22},
      {"平成18/03/05(日) 12:00", kKey2005, "2006030512000000", 2, 0, 4, 1, 1, 1, 4, 22},
      {"平成18/01/01(日) 12:34", 0, "2018010112340000", 2, 0, 4, 1, 2, 1, 4, 22},
      {"西暦2006/01/01(日) 12:34", kKey2005, "2006010112340000", 4, 0, 4, 1, 0, 1, 4, 24},
      {"xx 06/01/01 12:34", kKey2005, "2006010112340000", 2, 0, 4, 0, 0, 1, 3, 17},
      {"  2006/01/01(日) 12:34", 0, "2006010112340000", 4, 0, 4, 1, 2, 1, 2, 22},
      // A time without a date; its hour is taken as it stands.
      {"2006/1/1 1:23", 0,
       std::string("\0"
                   "0000000 1230000",
                   16),
       0, 0, 4, 0, 0, 0, 0, 13},
      // Twelve bytes hold no time.
      {"2006/1/1 1:2", 0,
       std::string("\0"
                   "000000000000000",
                   16),
       0, 0, 0, 0, 0, 0, 0, 0},
  };
  auto run = make_run();
  for (const Case& c : cases) {
    run->sflg.key = c.key;
    std::string text = sj(c.text);
    DateInfo info;
    char digits[20];
    read_date(*run, &info, digits, text.c_str(), kSjis, 0);
    EXPECT_EQ(digits16(digits), c.digits) << c.text;
    EXPECT_EQ(info.ok, 1) << c.text;
    EXPECT_EQ(info.mark, 0) << c.text;
    EXPECT_EQ(info.year_digits, c.year_digits) << c.text;
    EXPECT_EQ(info.year_last, c.year_last) << c.text;
    EXPECT_EQ(info.time_digits, c.time_digits) << c.text;
    EXPECT_EQ(info.centi, c.time_digits == 8 ? 1 : 0) << c.text;
    EXPECT_EQ(info.weekday, c.weekday) << c.text;
    EXPECT_EQ(info.adjust, c.adjust) << c.text;
    EXPECT_EQ(info.prefix, c.prefix) << c.text;
    EXPECT_EQ(info.start, c.start) << c.text;
    EXPECT_EQ(info.end, c.end) << c.text;
  }
}

TEST(ReadDate, KnowsTheDeletedPostsMarks) {
  auto run = make_run();
  struct Case {
    std::string text;
    int code;
    int mark;
  } cases[] = {
      {sj("あぼーん"), kSjis, 1}, {sj("移転＆停止"), kSjis, 1}, {sj("停止2です"), kSjis, 1},
      {"N/A", kSjis, 1},          {sj(" あぼーん"), kSjis, 0},  // compared from the very first byte
      {sj("あぼーん"), kEuc, 1},  // the marks are Shift_JIS whatever the code
      {"あぼーん", kUtf8, 0},
  };
  for (const Case& c : cases) {
    DateInfo info;
    char digits[20];
    read_date(*run, &info, digits, c.text.c_str(), c.code, 0);
    EXPECT_EQ(info.mark, c.mark) << c.text;
    EXPECT_EQ(info.ok, 1 - c.mark) << c.text;
    if (c.mark) {
      EXPECT_EQ(digits16(digits), "0000000000000000") << c.text;
    }
  }
}

TEST(ReadDate, EmptyTextReportsNothing) {
  auto run = make_run();
  DateInfo info;
  info.ok = 1;
  char digits[20] = "untouched";
  read_date(*run, &info, digits, "", kSjis, 1);
  EXPECT_STREQ(digits, "untouched");
  EXPECT_EQ(info.ok, 0);
  EXPECT_EQ(info.end, 0);
}

TEST(ReadDate, ReadsTheWeekdayInTheFieldsCode) {
  auto run = make_run();
  DateInfo info;
  char digits[20];
  read_date(*run, &info, digits, "2007/02/15(水) 12:00", kUtf8, 0);
  EXPECT_EQ(info.weekday, 1);
  EXPECT_EQ(digits16(digits), "2007021412000000");
}

TEST(ReadDate, WeekdayTextAsAPieceOfTheNames) {
  // The bracket counts as a known weekday when its text, in Shift_JIS, stands anywhere
  // in 日月火水木金土: also when empty or when it runs over two names. Each text is read
  // twice among more texts than are kept converted, in each code.
  struct Case {
    const char* bracket;
    int weekday;
  } cases[] = {
      {"日", 1},  {"土", 1},    {"", 1},   {"日月", 1}, {"水木金土", 1}, {"月日", 2},
      {"abc", 2}, {"金土x", 2}, {"曜", 2}, {"火 ", 2},  {"木", 1},
  };
  for (int code : {kSjis, kEuc, kUtf8}) {
    auto run = make_run();
    for (int round = 0; round < 2; ++round) {
      for (const Case& c : cases) {
        std::string text = sj((std::string("2006/01/01(") + c.bracket + ") 12:34").c_str());
        convert_code(*run, text, kSjis, code, 256);
        DateInfo info;
        char digits[20];
        read_date(*run, &info, digits, text.c_str(), code, 0);
        EXPECT_EQ(info.weekday, c.weekday) << c.bracket << " code " << code;
      }
    }
  }
  // The second byte of 日 and the first of 月 in Shift_JIS.
  auto run = make_run();
  DateInfo info;
  char digits[20];
  read_date(*run, &info, digits, "2006/01/01(\xFA\x8C) 12:34", kSjis, 0);
  EXPECT_EQ(info.weekday, 1);
}

TEST(ReadDate, ReadsOnlyTheBytesOfAView) {
  auto run = make_run();
  struct Case {
    std::string text;
    size_t len;
  } cases[] = {
      {sj("2006/01/01(日) 12:34:56 ID:abc"), 16},  // the time lies behind the view
      {sj("2006/01/01(日) 12:34:56.78"), 22},      // no hundredths in the view
      {sj("あぼーん"), 4},                         // too short for the mark
      {sj("  2006/01/01(日) 12:34:56"), 2},        // blanks alone
      {sj("皇紀2665/01/01(土) 12:34:00"), 20},
  };
  for (const Case& c : cases) {
    const std::string copy = c.text.substr(0, c.len);
    DateInfo a, b;
    char da[20] = {}, db[20] = {};
    read_date(*run, &a, da, copy.c_str(), kSjis, 1);
    read_date(*run, &b, db, std::string_view(c.text).substr(0, c.len), kSjis, 1);
    auto fields = [](const DateInfo& d) {
      return std::vector<int>{d.mark,   d.year_digits, d.year_last, d.ok,   d.time_digits,
                              d.has_id, d.form,        d.start,     d.end,  d.adjust,
                              d.prefix, d.blanks,      d.weekday,   d.centi};
    };
    EXPECT_EQ(fields(a), fields(b)) << copy;
    EXPECT_EQ(digits16(da), digits16(db)) << copy;
  }
}

TEST(ReadDate, IdentifyingModeReportsIdAndMachiForm) {
  auto run = make_run();
  struct Case {
    std::string text;
    int identify;
    int has_id;
    int form;
  } cases[] = {
      {sj("2006/01/01(日) 12:34:56 ID:abc"), 1, 1, 0},
      {sj("2006/01/01(日) 12:34 [ host.example.jp ]"), 1, 0, 1},
      {sj("2006/01/01(日) 12:34 [ host.example.jp ]"), 0, 0, 0},
      {sj("2006/01/01(日) 12:34:56 ID:abc <font size=1>IP:192.0.2.1</font>"), 1, 1, 2},
      {sj("2006/01/01(日) 12:34:56 <font size=1>IP:192.0.2.1</font>"), 1, 0, 0},
      {sj("2006/01/01(日) 12:34:56 ID:abc <font size=1>[ host ]</font>"), 1, 1, 5},
      {sj("2006/01/01(日) 12:34:56 ID:abc ") + std::string(80, 'x') + "[ host ]", 1, 1, 0},
      // ー is 0x81 0x5B: its second byte is no bracket.
      {sj("2006/01/01(日) 12:34 ーabc]"), 1, 0, 0},
  };
  for (const Case& c : cases) {
    DateInfo info;
    char digits[20];
    read_date(*run, &info, digits, c.text.c_str(), kSjis, c.identify);
    EXPECT_EQ(info.has_id, c.has_id) << c.text;
    EXPECT_EQ(info.form, c.form) << c.text;
  }
}

TEST(FindBe, TellsFormAndFields) {
  auto run = make_run();
  struct Case {
    std::string text;
    int form;
    const char* id;
    const char* level;
    std::string extra;
  } cases[] = {
      {"ID:abc BE:123456-2BP(0)", 1, "123456", "?2BP(0)", ""},
      {"ID:abc <BE:123456:4>", 3, "123456", "4", ""},
      {"ID:abc BE:not-#", 1, "0", "?#", ""},
      {"ID:abc BE:123456?2BP", 1, "0", "2BP", ""},
      {"ID:abc BE:123- ID2", 1, "123", "? ", ""},
      {"ID:a BE:1-<a x=y>2BP</a> z", 1, "1", "?<a x=y>2BP</a>", ""},
      {"x <:123456:2BP", 2, "123456", "2BP", ""},
      {"x <:123456:Lv.7>", 4, "123456", "7", ""},
      {"x <a href=\"http://be.example/test/p.php?i=123456\" target=\"_blank\">?2BP(0)</a> y", 5,
       "123456", "?2BP(0)", ""},
      {sj("ID:a BE:1-2BP(0) 株優プチ ポイント特典 z"), 1, "1", "?2BP(0)",
       sj("株優プチ ポイント特典")},
      {"ID:a BE:1-2BP " + std::string(300, 'x') + sj(" ラッキー賞"), 1, "1", "?2BP", ""},
      {"BE:123-x", 0, "", "", ""},  // at the very head
      {"ID:abc", 0, "", "", ""},
  };
  for (const Case& c : cases) {
    std::string id, level, extra;
    int span[2];
    EXPECT_EQ(find_be(*run, c.text.c_str(), &id, &level, &extra, span), c.form) << c.text;
    if (c.form == 0) continue;
    EXPECT_EQ(id, c.id) << c.text;
    EXPECT_EQ(level, c.level) << c.text;
    EXPECT_EQ(extra, c.extra) << c.text;
  }
}

TEST(RewriteBe, RewritesTheNotation) {
  auto run = make_run();
  struct Case {
    std::string text;
    std::string want;
  } cases[] = {
      {"ID:abc BE:123456-2BP(0)", "ID:abc BE:123456 ?2BP(0)"},
      {"ID:abc <BE:123456:4>", "ID:abc BE:123456 Lv.4"},
      {"<BE:123456:4>", "BE:123456 Lv.4"},
      {"ID:abc BE:not-#", "ID:abc BE:not ?#"},
      {"ID:abc BE:123- ID2", "ID:abc BE:123 ? ID2"},
      {"x <:123456:Lv.7> y", "x BE:123456 Lv.7> y"},
      {"x <a href=\"http://be.example/test/p.php?i=123456\">?2BP(0)</a> y",
       "x BE:123456 ?2BP(0) y"},
      {sj("ID:a BE:1-2BP(0) ラッキー賞 z"), sj("ID:a BE:1 ?2BP(0) ラッキー賞 z")},
      {"ID:abc", "ID:abc"},
  };
  for (const Case& c : cases) {
    std::string date = c.text;
    rewrite_be(*run, date);
    EXPECT_EQ(date, c.want) << c.text;
  }
}

TEST(RecastDate, RecastsByTheWeekdayMode) {
  struct Case {
    int mode;
    int code;
    int32_t key;
    uint8_t abroad;
    const char* text;
    const char* want;
  } cases[] = {
      {2, kSjis, 0, 0, "2006/01/01(日) 12:34:56.78 ID:abc", "06/01/01 12:34 ID:abc"},
      {3, kSjis, 0, 0, "06/01/01 12:34 ID:abc", "06/01/01(日) 12:34 ID:abc"},
      {3, kUtf8, 0, 0, "06/01/01 12:34 ID:abc", "06/01/01(日) 12:34 ID:abc"},
      {3, kSjis, 0, 0, "2006/01/01(月) 12:34:56 ID:abc", "2006/01/01(日) 12:34:56 ID:abc"},
      {3, kSjis, 0, 0, "2006/03/32(土) 12:00:00 ID:x", "2006/03/32(土) 12:00:00 ID:x"},
      {3, kSjis, 0, 0, "2006/01/01_12:34 ID:x", "2006/01/01_12:34 ID:x"},  // no blank
      {1, kSjis, 0, 0, "2006/03/32(土) 12:00:00 ID:x", "2006/04/01(土) 12:00:00 ID:x"},
      {1, kSjis, 0, 0, "06/01/01 12:34 ID:abc", "2006/01/01(日) 12:34 ID:abc"},
      {1, kSjis, 0, 0, "2006/01/01(日) 12:34:56.78 ID:abc", "2006/01/01(日) 12:34:56.78 ID:abc"},
      {1, kSjis, kKey2005, 0, "投稿日：18/01/01(日) 12:34 ID:abc", "2006/01/01(日) 12:34 ID:abc"},
      {1, kSjis, 0, 0, "投稿日：18/01/01(日) 12:34 ID:abc", "投稿日：18/01/01(日) 12:34 ID:abc"},
      {2, kSjis, 0, 0, "ID:abcdefgh 12:34", "ID:abcdefgh 12:34"},  // no date: left alone
      {2, kSjis, 0, 1, "2006/01/01(日) 12:34 ID:abc", "2006/01/01(日) 12:34 ID:abc"},
      {0, kSjis, 0, 0, "2006/01/01(月) 12:34 ID:abc", "2006/01/01(月) 12:34 ID:abc"},
      // The weekday names stand in the output code.
      {1, kUtf8, 0, 0, "2006/01/02(x) 12:34:56 ID:a", "2006/01/02(月) 12:34:56 ID:a"},
      {2, kEuc, 0, 0, "2006/01/02 12:34:56.78", "06/01/02 12:34"},
  };
  for (const Case& c : cases) {
    auto run = make_run(c.code);
    run->cmdm.m = (run->cmdm.m & ~0x30u) | (static_cast<uint32_t>(c.mode) << 4);
    run->sflg.key = c.key;
    run->sflg.k_abroad = c.abroad;
    run->post.date = c.code == kSjis ? sj(c.text) : c.text;
    recast_date(*run);
    EXPECT_EQ(run->post.date, c.code == kSjis ? sj(c.want) : c.want) << c.mode << " " << c.text;
  }
}

TEST(WeekdayOf, CountsGregorianDays) {
  struct Case {
    int year, month, day, want;
  } cases[] = {
      {2006, 1, 1, 0},   {2000, 2, 29, 2}, {1900, 3, 1, 4},  {2100, 3, 1, 1},
      {2024, 12, 31, 2}, {1, 1, 1, 1},     {2006, 13, 1, 1},  // month 13 runs into 2007
  };
  for (const Case& c : cases) {
    EXPECT_EQ(weekday_of(c.year, c.month, c.day), c.want) << c.year << "/" << c.month;
  }
  int zero = weekday_of(0, 0, 0);
  EXPECT_TRUE(zero >= 0 && zero <= 6);
}

}  // namespace
}  // namespace tz
