#include "log/first_pass.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "codes/convert.h"
#include "codes/guess.h"
#include "log/identify.h"
#include "log_fixture.h"
#include "run/run.h"

namespace tz {
namespace {

using testing::LogTest;
using testing::sj;

class FirstPassTest : public LogTest {
 protected:
  // Identifies the log and reads it whole, in its own code. Result: read_log's.
  int read(std::string_view bytes) { return read_into(bytes, 0); }
  // The same with the output in `code_out` (0: the log's own).
  int read_into(std::string_view bytes, uint8_t code_out) {
    fresh_run();
    put_log("1136041200.dat", bytes);
    times_ = Times{};
    char file_date[20] = {};
    identify_log(*run_, file_date, times_);
    run_->code_out = code_out ? code_out : run_->sflg.code_in;
    run_->code_conv = run_->code_out == run_->sflg.code_in ? 0 : run_->code_out;
    return read_log(*run_);
  }
  Times times_;
};

std::string post(int minute, const char* mail = "") {
  return sj("名無し<>" + std::string(mail) + "<>2006/01/01(日) 00:0" + std::to_string(minute) +
            ":00<>本文<>\n");
}

TEST_F(FirstPassTest, CountsPostsAndSize) {
  // Ten lines with CRLF in 2,048 bytes: 2,038 bytes with single line feeds.
  std::string crlf;
  for (int i = 0; i < 10; ++i) {
    std::string line = sj("名無し<><>2006/01/01(日) 00:00:00<>本文");
    crlf += line + std::string(i == 9 ? 2048 - crlf.size() - line.size() - 4 : 150, 'x') + "<>\r\n";
  }
  ASSERT_EQ(crlf.size(), 2048u);
  const std::string p = post(1);
  struct Case {
    const char* what;
    std::string bytes;
    int rescount;
    int64_t fsize;
    int64_t kb;
    size_t first;
  } cases[] = {
      {"CRLF line ends", crlf, 10, 2038, 2, 0},
      {"broken and empty lines at the end", p + p + sj("x<>y\n\n"), 2, int64_t(2 * p.size() + 6), 1,
       0},
      {"a broken line in the middle", p + sj("x<>y\n") + p, 3, int64_t(2 * p.size() + 5), 1, 0},
      {"last post without a line feed", p + p.substr(0, p.size() - 1), 1, int64_t(2 * p.size() - 1),
       1, 0},
      {"a line of other text first", sj("前書き\n") + p + p, 2, int64_t(2 * p.size() + 7), 1, 7},
      {"exactly 1 KB", p + std::string(1024 - p.size() - 1, 'x') + "\n", 1, 1024, 1, 0},
      {"one byte over 1 KB", p + std::string(1025 - p.size() - 1, 'x') + "\n", 1, 1025, 2, 0},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(read(c.bytes), 0) << c.what;
    const Sflg& f = run_->sflg;
    EXPECT_EQ(f.rescount, c.rescount) << c.what;
    EXPECT_EQ(f.fsize, c.fsize) << c.what;
    EXPECT_EQ(f.fsize_kb, c.kb) << c.what;
    EXPECT_EQ(run_->log.log_first, c.first) << c.what;
    EXPECT_EQ(run_->totals.rd_lo, int64_t(c.bytes.size())) << c.what;
  }
}

TEST_F(FirstPassTest, LastPostLineEndsTheCount) {
  const std::string p = post(1);
  ASSERT_EQ(read(p + p + sj("x<>y\n\n")), 0);
  // The line feed that closes the second post is the last byte that counts.
  EXPECT_EQ(run_->log.log_last, 2 * p.size() - 1);
}

TEST_F(FirstPassTest, FilesThatCannotBeRead) {
  struct Case {
    const char* name;
    bool exists;
    int result;
    int err;  // last_err, where the result tells one
  } cases[] = {
      {"missing.dat", false, 1, ENOENT},
      {"empty.dat", true, 4, 0},
  };
  for (const Case& c : cases) {
    fresh_run();
    if (c.exists)
      put_log(c.name, "");
    else
      point_at(c.name);
    EXPECT_EQ(read_log(*run_), c.result) << c.name;
    if (c.err) {
      EXPECT_EQ(run_->last_err, c.err) << c.name;
    }
  }
}

TEST_F(FirstPassTest, ThreeDates) {
  struct Case {
    const char* what;
    std::string bytes;
    const char* first;
    const char* last;
    const char* age;  // last post without sage
  } cases[] = {
      {"last post sage, the one before not", post(1) + post(2, "age") + post(3, "sage"),
       "2006010100010000", "2006010100030000", "2006010100020000"},
      {"all posts sage", post(1, "sage") + post(2, "sage") + post(3, "sage"), "2006010100010000",
       "2006010100030000", "2006010100010000"},
      {"sage anywhere in the mail field", post(1) + post(2, "sageteoku"), "2006010100010000",
       "2006010100020000", "2006010100010000"},
      {"broken and empty lines at the end", post(1) + post(2) + sj("x<>y\n\n"), "2006010100010000",
       "2006010100020000", "2006010100020000"},
      {"date of the last line opens with a tag",
       post(1) + post(2, "sage") + sj("名無し<><><b>2006/01/01(日) 00:03:00</b><>本文<>\n"),
       "2006010100010000", "2006010100020000", "2006010100010000"},
      {"deleted post last", post(1) + post(2) + sj("あぼーん<>あぼーん<>あぼーん<>あぼーん<>\n"),
       "2006010100010000", "2006010100020000", "2006010100020000"},
      {"a line without separator ends the search",
       post(1, "sage") + post(2) + sj("文\n") + post(4, "sage"), "2006010100010000",
       "2006010100040000", "2006010100010000"},
      {"numbered log",
       sj("1<>名無し<>sage<>2006/01/01(日) 00:01:00<>本文<>題\n"
          "2<>名無し<><>2006/01/01(日) 00:02:00<>本文<>\n"
          "3<>名無し<>sage<>2006/01/01(日) 00:03:00<>本文<>\n"),
       "2006010100010000", "2006010100030000", "2006010100020000"},
      {"comma log", sj("名無し,,02/01/01 00:01,本文,題\n名無し,sage,02/01/01 00:02,本文,\n"),
       "2002010100010000", "2002010100020000", "2002010100010000"},
      // Each line has its own separator: the "<>" of the line behind is no matter.
      {"comma line before a <> line",
       sj("名無し,,02/01/01 00:01,本文,題\n名無し<>sage<>02/01/01 00:02<>本文<>\n"),
       "2002010100010000", "2002010100020000", "2002010100010000"},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(read(c.bytes), 0) << c.what;
    take_dates(*run_, times_);
    EXPECT_STREQ(times_.first, c.first) << c.what;
    EXPECT_STREQ(times_.last, c.last) << c.what;
    EXPECT_STREQ(times_.age, c.age) << c.what;
  }
}

// With UTF-8 output, the posts of a Shift_JIS log stay Shift_JIS until they are
// converted; what is read of them before reads as it would in UTF-8.
TEST_F(FirstPassTest, PostsLeftInShiftJisReadAsUtf8) {
  // "Ｔage": the Shift_JIS bytes hold "sage" behind the first byte of "Ｔ"; UTF-8 doesn't.
  const std::string hidden_sage = sj("名無し<>Ｔage<>2006/01/01(日) 00:02:00<>本文<>\n");
  ASSERT_NE(hidden_sage.find("sage"), std::string::npos);
  const std::string kana = sj("ｶﾅ<>sage<>2006/01/01(日) 00:03:00 ｱｲｳ<>ｴｵ<>\n");
  const std::string hidden = post(1) + hidden_sage + post(3, "sage");
  std::string euc = hidden;
  convert_code(*run_, euc, kSjis, kEuc, 4096);
  // Pairs whose second bytes open UTF-8 sequences: the floor of the Shift_JIS score that
  // the sweep gives can't settle the guess, the exact score does.
  std::string many_mo;
  for (int minute = 1; minute <= 8; ++minute)
    many_mo += sj("ももあももあ<>sage<>2006/01/01(日) 00:0" + std::to_string(minute) +
                  ":00<>ももあももあももあももあ<>\n");
  {
    std::string swept = many_mo;
    SjisSweep sweep(swept.data(), 0);
    LineEnds ends;
    const int64_t floor = sweep.finish_floor(swept.size(), &ends);
    const long room = static_cast<long>(swept.size()) + 16;
    ASSERT_FALSE(sjis_floor_settles(sweep.ranges(), swept.size(), room, floor));
    ASSERT_EQ(guess_code(swept.c_str(), room), kSjis);
  }
  struct Case {
    const char* what;
    std::string bytes;
    std::string sjis;  // the log in Shift_JIS
    const char* last;
    const char* age;
  } cases[] = {
      {"sage within a character", hidden, hidden, "2006010100030000", "2006010100020000"},
      {"the same in EUC-JP", euc, hidden, "2006010100030000", "2006010100020000"},
      {"half-width kana", post(1) + kana, post(1) + kana, "2006010100030000", "2006010100010000"},
      {"a score the floor doesn't settle", many_mo, many_mo, "2006010100080000",
       "2006010100010000"},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(read_into(c.bytes, kUtf8), 0) << c.what;
    const LogBuffer& log = run_->log;
    EXPECT_TRUE(log.utf8_due) << c.what;
    EXPECT_EQ(log.utf8_from, 0u) << c.what;
    take_dates(*run_, times_);
    EXPECT_EQ(run_->sflg.rescount, std::count(c.sjis.begin(), c.sjis.end(), '\n')) << c.what;
    EXPECT_STREQ(times_.first, "2006010100010000") << c.what;
    EXPECT_STREQ(times_.last, c.last) << c.what;
    EXPECT_STREQ(times_.age, c.age) << c.what;

    bring_posts_into_utf8(*run_);
    EXPECT_FALSE(log.utf8_due) << c.what;
    EXPECT_EQ(std::string(log.sfile.data(), log.len), utf8_from_sjis(c.sjis)) << c.what;
    EXPECT_EQ(log.log_first, 0u) << c.what;
  }
}

}  // namespace
}  // namespace tz
