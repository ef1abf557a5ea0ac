#include "log/identify.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "codes/convert.h"
#include "log_fixture.h"
#include "run/run.h"

namespace tz {
namespace {

using testing::LogTest;
using testing::sj;

constexpr int kHeadDefault = 30;

class IdentifyTest : public LogTest {
 protected:
  uint8_t identify(const std::string& name, std::string_view bytes) {
    put_log(name, bytes);
    times_ = Times{};
    char file_date[20] = {};
    return identify_log(*run_, file_date, times_);
  }
  Times times_;
};

TEST_F(IdentifyTest, FormsOfTheHead) {
  const std::string post = sj("名無し<><>2006/01/01(日) 00:00:00<>本文<>題\n");
  const std::string lead = sj("前書きの行\n");
  struct Case {
    const char* what;
    std::string bytes;
    int head_kb;
    int kind;
    int subkind;
    size_t log_first;
    const char* title;  // UTF-8
    const char* first_date;
    int comma_sub;
    int live_head;
  } cases[] = {
      {"<> log", post, kHeadDefault, 2, 3, 0, "題", "2006010100000000", 0, 0},
      {"<> log with CRLF", sj("名無し<><>2006/01/01(日) 00:00:00<>本文<>題\r\n"), kHeadDefault, 2,
       3, 0, "題", "2006010100000000", 0, 0},
      {"numbered log", sj("1<>名無し<><>2006/01/01(日) 00:00:00<>本文<>題\n"), kHeadDefault, 2, 4,
       0, "題", "2006010100000000", 0, 0},
      {"comma log", sj("名無し,,02/01/01 12:34,本文,題\n"), kHeadDefault, 1, 3, 0, "題",
       "2002010112340000", 0, 0},
      {"comma log of bold names", sj("<b>名無し</b>,,02/01/01 12:34,本文,題\n"), kHeadDefault, 1, 3,
       0, "題", "2002010112340000", 1, 0},
      {"bold names and blanks before the date", sj("<b>名無し</b>,, 02/01/01 12:34,本文,題\n"),
       kHeadDefault, 1, 3, 0, "題", "2002010112340000", 2, 0},
      {"saved page", sj("<dt><a name=\"a1\">1</a> 名無し<>x<>2006/01/01 00:00<>本文<>題\n"),
       kHeadDefault, 7, 0, 0, "", "", 0, 0},
      {"a line of other text first", lead + post, kHeadDefault, 2, 3, lead.size(), "題",
       "2006010100000000", 0, 0},
      {"other text first and no head room", lead + post, 0, 0, 3, 0, "", "2006010100000000", 0, 0},
      {"LIVE head and no head room", "LIVE,a,b\n" + post, 0, 2, 3, 9, "題", "2006010100000000", 0,
       1},
      {"KAKO head with one comma", "KAKO,a\n" + post, 0, 0, 3, 0, "", "2006010100000000", 0, 0},
      {"deleted posts first",
       sj("あぼーん<>あぼーん<>あぼーん<>あぼーん<>題\n名無し<><>2006/01/02(月) "
          "00:00:00<>本文<>\n"),
       kHeadDefault, 2, 3, 0, "題", "2006010200000000", 0, 0},
      {"deleted posts alone", sj("あぼーん<>あぼーん<>あぼーん<>あぼーん<>題\n"), kHeadDefault, 2,
       3, 0, "題", "0000000000000000", 0, 0},
      {"NUL bytes read as blanks", sj("名無し") + std::string(1, '\0') + post.substr(6),
       kHeadDefault, 2, 3, 0, "題", "2006010100000000", 0, 0},
      {"text without separators", sj("ただの文章です。\n二行目です。\n"), kHeadDefault, 0, 0, 0, "",
       "", 0, 0},
      {"one line without a line feed", post.substr(0, post.size() - 1), kHeadDefault, 0, 0, 0, "",
       "", 0, 0},
      {"broken lines only", sj("a<>b\nc<>d<>e\n"), kHeadDefault, 0, 0, 0, "", "", 0, 0},
      {"no date in the date field", sj("名無し<><>日付なし<>本文<>題\n"), kHeadDefault, 0, 0, 0, "",
       "", 0, 0},
  };
  for (const Case& c : cases) {
    fresh_run();
    set_head_kb(c.head_kb);
    int kind = identify("1136041200.dat", c.bytes);
    const Sflg& f = run_->sflg;
    EXPECT_EQ(kind, c.kind) << c.what;
    EXPECT_EQ(f.subkind, c.subkind) << c.what;
    if (kind != 0) {
      EXPECT_EQ(run_->log.log_first, c.log_first) << c.what;
      EXPECT_EQ(f.tname_dat, sj(c.title)) << c.what;
      EXPECT_EQ(f.tname_sjis, sj(c.title)) << c.what;
      EXPECT_STREQ(times_.first, c.first_date) << c.what;
      EXPECT_EQ(f.comma_sub, c.comma_sub) << c.what;
    }
    EXPECT_EQ(f.live_head, c.live_head) << c.what;
  }
}

TEST_F(IdentifyTest, FilesThatAreNoLogs) {
  EXPECT_EQ(identify("empty.dat", ""), 0xFD);
  point_at("missing.dat");
  char file_date[20] = {};
  EXPECT_EQ(identify_log(*run_, file_date, times_), 0xFF);
  std::filesystem::create_directory(dir_ + "folder.dat");
  point_at("folder.dat");
  EXPECT_EQ(identify_log(*run_, file_date, times_), 0xFF);
}

TEST_F(IdentifyTest, ThreadKeyFromTheFileName) {
  struct Case {
    const char* name;
    int32_t key;
  } cases[] = {
      {"1136041200.dat", 1136041200},
      {"9240000000.dat", 0},
      {"924123456.dat", 0},
      {"0123456789.dat", 0},
      {"912345678.dat", 912345678},
      {"1999999999.dat", 1999999999},
      {"2136041200.dat", 0},
      {"11360412001.dat", 0},
      {"113604120.dat", 0},
      {"1136041200_1.dat", 0},
      {"1136041200", 0},
      {"abc.dat", 0},
  };
  const std::string post = sj("名無し<><>2006/01/01(日) 00:00:00<>本文<>題\n");
  for (const Case& c : cases) {
    fresh_run();
    identify(c.name, post);
    EXPECT_EQ(run_->sflg.key, c.key) << c.name;
  }
}

// What the first date tells of the board: a date of the common kind leaves the kind
// alone, others mark the log as of another board, numbered logs are of two kinds.
TEST_F(IdentifyTest, BoardKindFromTheDate) {
  struct Case {
    const char* line;
    int k_other;
    int k_machi;
    int k_shitaraba;
  } cases[] = {
      {"名無し<><>2006/01/01(日) 00:00:00<>本文<>題\n", 0, 0, 0},
      {"名無し<><>06/01/01 00:00<>本文<>題\n", 0, 0, 0},
      {"名無し<><>2006/01/01 00:00:00<>本文<>題\n", 1, 0, 0},
      {"名無し<><>2006/03/32(土) 00:00:00<>本文<>題\n", 0, 0, 0},
      {"1<>名無し<><>2006/01/01(日) 00:00:00<>本文<>題\n", 0, 0, 4},
      {"1<>名無し<><>2006/01/01(日) 00:00:00 ID:abc<>本文<>題\n", 0, 4, 0},
      {"名無し<><>2006/01/01(日) 00:00:00 [ host ]<>本文<>題\n", 0, 1, 0},
  };
  for (const Case& c : cases) {
    fresh_run();
    identify("1136041200.dat", sj(c.line));
    const Sflg& f = run_->sflg;
    EXPECT_EQ(f.k_other, c.k_other) << c.line;
    EXPECT_EQ(f.k_machi, c.k_machi) << c.line;
    EXPECT_EQ(f.k_shitaraba, c.k_shitaraba) << c.line;
  }
}

TEST_F(IdentifyTest, CodeOfTheLog) {
  const std::string utf8 = "名無しさん<><>2006/01/01(日) 00:00:00<>ひらがなの本文<>題名\n";
  std::string euc = utf8;
  convert_code(*run_, euc, kUtf8, kEuc, 1024);
  // Half-width katakana in EUC-JP pass for Shift_JIS kanji unless /o says otherwise.
  const std::string kana = "\x8E\xB1<><>06/01/01 12:00<>\x8E\xB2<>\x8E\xB6\x8E\xB7\n";
  struct Case {
    const char* what;
    std::string bytes;
    int forced;
    int code;
    std::string title;  // Shift_JIS
  } cases[] = {
      {"Shift_JIS", sj(utf8), 0, kSjis, sj("題名")},
      {"EUC-JP", euc, 0, kEuc, sj("題名")},
      {"UTF-8", utf8, 0, kUtf8, sj("題名")},
      {"katakana in EUC-JP guessed", kana, 0, kSjis, "\x8E\xB6\x8E\xB7"},
      {"katakana in EUC-JP as /o says", kana, kEuc, kEuc, "\xB6\xB7"},
  };
  for (const Case& c : cases) {
    fresh_run();
    run_->cmdm.o |= uint32_t(c.forced) << 6;
    identify("1136041200.dat", c.bytes);
    EXPECT_EQ(run_->sflg.code_in, c.code) << c.what;
    EXPECT_EQ(run_->sflg.tname_sjis, c.title) << c.what;
  }
}

// next_line on a copy of `text`; the fields as strings, "-" for an empty slot.
struct Split {
  int seps;
  int kind;
  int end_flag;
  std::vector<std::string> fields;
  std::string rest;  // the text behind the line feed
};

// With `bounded` the splitter is told that the buffer may be read to its end, which lies
// a few bytes behind the text's NUL.
Split split(Run& run, std::string_view text, bool bounded = false) {
  std::vector<char> buf(text.begin(), text.end());
  buf.push_back('\0');
  buf.insert(buf.end(), 5, 'x');
  run.sflg.kind = 0;
  next_line(run, buf.data(), bounded ? buf.data() + buf.size() : nullptr);
  Split s{run.line.seps, run.sflg.kind, run.line.end_flag, {}, ""};
  if (s.end_flag) return s;
  for (int i = 0; i <= s.seps; ++i) s.fields.emplace_back(run.line.fields[i]);
  s.rest = run.line.next;
  return s;
}

TEST_F(IdentifyTest, NextLineSplitsOneLine) {
  using V = std::vector<std::string>;
  struct Case {
    const char* text;
    int seps;
    int kind;
    V fields;
    const char* rest;
  } cases[] = {
      {"a<>b<>c<>d<>e\nnext", 4, 2, V{"a", "b", "c", "d", "e"}, "next"},
      {"a<>b\r\n", 1, 2, V{"a", "b"}, ""},
      {"a<>b<>c<>d<>e<>f<>g<>h\n", 6, 2, V{"a", "b", "c", "d", "e", "f", "g<>h"}, ""},
      {"a,b,c,d,e,f,g,h,i,j\n", 8, 1, V{"a", "b", "c", "d", "e", "f", "g", "h", "i,j"}, ""},
      {"a,b<>c,d\n", 1, 2, V{"a,b", "c,d"}, ""},
      {"<><><><>\n", 4, 2, V{"", "", "", "", ""}, ""},
      {"no separator\n", 0, 1, V{"no separator"}, ""},
      {"\nnext", 0, 0, V{""}, "next"},
      {"a<>b<\n", 1, 2, V{"a", "b<"}, ""},
  };
  for (const Case& c : cases) {
    for (bool bounded : {false, true}) {
      Split s = split(*run_, c.text, bounded);
      EXPECT_EQ(s.end_flag, 0) << c.text;
      EXPECT_EQ(s.seps, c.seps) << c.text;
      EXPECT_EQ(s.kind, c.kind) << c.text;
      EXPECT_EQ(s.fields, c.fields) << c.text;
      EXPECT_EQ(s.rest, c.rest) << c.text;
    }
  }
  for (bool bounded : {false, true}) {
    EXPECT_EQ(split(*run_, "a<>b<>c<>d", bounded).end_flag, 1);
    // A NUL before the line feed: no line.
    EXPECT_EQ(split(*run_, std::string_view("a<>b\0c<>d\n", 10), bounded).end_flag, 1);
  }
  next_line(*run_, nullptr);
  EXPECT_EQ(run_->line.end_flag, 1);
}

// The splitter walks long lines in blocks: separators and line ends on every side of a
// block's edge, as a plain split finds them.
TEST_F(IdentifyTest, NextLineAcrossBlockEdges) {
  auto plain = [](const std::string& line) {
    std::vector<std::string> fields;
    size_t from = 0;
    for (size_t at; fields.size() < 6 && (at = line.find("<>", from)) != std::string::npos;) {
      fields.push_back(line.substr(from, at - from));
      from = at + 2;
    }
    fields.push_back(line.substr(from));
    return fields;
  };
  int lines = 0;
  // In both widths of vectors that this processor has: blocks of 32 and of 64 bytes.
  for (bool narrow : {false, true}) {
    sweep_narrow(narrow);
    for (size_t len = 0; len <= 140; ++len) {
      const size_t last = len >= 2 ? len - 2 : 0;
      for (size_t sep : {size_t{0}, size_t{14}, size_t{15}, size_t{30}, size_t{31}, size_t{32},
                         size_t{33}, size_t{62}, size_t{63}, size_t{64}, len / 3, last}) {
        std::string line(len, 'y');
        for (size_t at = sep; at + 1 < len; at += 29) line.replace(at, 2, "<>");
        if (len > 40) line[40] = '<';  // a lone '<' with no '>' behind it
        const std::string text = line + "\r\nrest<>of it\n";
        for (bool bounded : {false, true}) {
          Split s = split(*run_, text, bounded);
          const std::vector<std::string> want = plain(line);
          ASSERT_EQ(s.end_flag, 0) << len << " " << sep;
          EXPECT_EQ(s.fields, want)
              << len << " sep " << sep << (bounded ? " bounded" : "") << (narrow ? " narrow" : "");
          EXPECT_EQ(s.rest, "rest<>of it\n") << len << " " << sep;
          ++lines;
        }
      }
    }
  }
  sweep_narrow(false);
  EXPECT_EQ(lines, 2 * 141 * 12 * 2);
}

TEST(CountSeparators, CountsOneLine) {
  struct Case {
    const char* text;
    size_t end;  // bytes that may be looked at
    int seps;
  } cases[] = {
      {"a<>b<>c<>d\n", 99, 3}, {"a,b,c<>d\n", 99, 1},      {"a,b,c\n", 99, 2},
      {"abc\n", 99, 0},        {"a,b\nc,d,e\n", 99, 1},    {"a<>b<>c<>d\n", 4, 1},
      {"a<>b<>c<>d\n", 2, 0},  {"a<<>>b\n", 99, 1},        {"", 99, 0},
      {"a<>b<>c", 99, 2},      {"a,b,c<>d<>e,f\n", 99, 2},
  };
  for (const Case& c : cases) {
    size_t len = std::strlen(c.text) + 1;
    size_t end = c.end < len ? c.end : len;
    EXPECT_EQ(count_separators(c.text, c.text + end), c.seps) << c.text << " within " << c.end;
  }
}

}  // namespace
}  // namespace tz
