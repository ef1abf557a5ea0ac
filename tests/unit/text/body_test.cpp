#include "text/body.h"

#include <gtest/gtest.h>

#include "log/identify.h"
#include "text_fixture.h"

namespace tz {
namespace {

using testing::make_text_run;
using testing::ready_strings;
using testing::sj;
using testing::with_breaks;

constexpr uint32_t kDefault = 0x3001;
constexpr uint32_t kShortLinks = kDefault | (1u << 23);
constexpr uint32_t kNameBlanks = kDefault | (1u << 9);
constexpr uint32_t kKeepBlank = kDefault | (1u << 7);
constexpr uint32_t limit(int n) {
  return kDefault | (static_cast<uint32_t>(n) << 24);
}
const std::string kBreak = "\r\n      ";

// Splits `line` as the converter does and reads its post.
const Post& read_line(Run& run, std::string& buf, std::string_view line) {
  buf.assign(line);
  buf += '\n';
  next_line(run, buf.data());
  read_post(run);
  return run.post;
}

std::string body_line(std::string_view body) {
  return "name<>mail<>2006/01/01 00:00<>" + std::string(body) + "<>";
}

TEST(ReadPost, BodyScanner) {
  const std::string rule = std::string(65, '-');
  const std::string longhost(40, 'q');
  const std::string longlink = "http://" + std::string(10000, 'a');
  struct Case {
    std::string body;
    std::string want;  // '|' stands for the body break
    uint32_t m = kDefault;
  } cases[] = {
      {"a&amp;b", "a&b"},
      {"&amp;gt;", "&gt;"},
      {"&amplifier", "&lifier"},
      {"&quot;q&quot;&nbsp;x &lt;i&gt;", "\"q\" x <i>"},
      {"&#12345;", "&#12345;"},
      {"x<br>y", "x|y"},
      {"x <br> y", "x|y"},
      {"x <BR> y", "x|y"},
      {"x  <br>  y", "x | y"},
      // The blank that ends one " <br> " doesn't begin the next.
      {"a <br> <br> b", "a|| b"},
      {"<i> <br> x", "|x"},
      {"&amp; <br> x", "&|x"},
      {"&nbsp;<br> x", " | x"},
      {"a <BR>b <hr> c", "a |b |" + rule + "| c"},
      // The break at the end loses the last blank of its indent, as any body does.
      {"a <bR> ", "a" + kBreak.substr(0, kBreak.size() - 1)},
      {"a <br >b", "a b"},
      {"a <bz> b", "a  b"},
      {"a <Br> <bR> <br> b", "a|||b"},
      {"a<hr>b", "a|" + rule + "|b"},
      {" ", ""},
      {"  two", " two"},
      {"tail  ", "tail "},
      {"tail ", "tail ", kKeepBlank},
      {"<b>bold</b> text", "bold text"},
      {"<a href=\"../test/read.cgi/x/1/1\" target=\"_blank\">&gt;&gt;1</a> ok", ">>1 ok"},
      // A "<" with no ">" behind it loses the text up to the next place that copies.
      {"a<b c", "a"},
      {"a<b&amp;c", "a&c"},
      {"http://x/y", "http://x/y"},
      {"see http://www.example.com/path/x.html ok", "see www.example.com ok", kShortLinks},
      {"https://a.b", "a.b", kShortLinks},
      {"ttp://t.jp/x", "t.jp", kShortLinks},
      {"ftp://f.org/x", "f.org", kShortLinks},
      {"http://x.com/a&gt;b", "x.com>b", kShortLinks},
      {"http://a&ampb.com/", "a&b.com", kShortLinks},
      {"http://" + longhost + "/", longhost.substr(0, 30), kShortLinks},
      {"the fat hat", "the fat hat", kShortLinks},
      // A link that runs to the room is dropped; the scan goes on where it stopped.
      {longlink, longlink.substr(10000), kShortLinks},
      // The 'h' of ド is its second byte, not the start of "http://".
      {sj("ド") + "ttp://x.jp/y", sj("ド") + "x.jp", kShortLinks},
  };
  for (const Case& c : cases) {
    auto run = make_text_run(c.m);
    ready_strings(*run);
    std::string buf;
    const Post& post = read_line(*run, buf, body_line(c.body));
    EXPECT_EQ(post.body, with_breaks(c.want, kBreak)) << c.body.substr(0, 60);
  }
}

TEST(ReadPost, NameAndMail) {
  struct Case {
    std::string line;
    std::string name;
    std::string mail;
    uint32_t m = kDefault;
    uint8_t k_be = 0;
  } cases[] = {
      {sj("<b>名無し</b><><>d<>b"), sj("名無し"), ""},
      {sj("<b>名無し </b>◆abc <b></b><><>d<>b"), sj("名無し ◆abc "), ""},
      {"<b>ab<><>d<>b", "ab", ""},
      {"x<br>y<>a&amp;b<>d<>b", "xy", "a&amp;b"},
      {" name   <><>d<>b", "name ", "", kNameBlanks},
      {"name  <><>d<>b", "name  ", "", kNameBlanks},
      {" name  <><>d<>b", " name", "", kDefault, 1},
      // The comma mark is a comma only in a comma log, whose mail is scanned too.
      {sj("名無し＠｀さん<><>d<>b"), sj("名無し＠｀さん"), ""},
      {sj("名無し＠｀さん,a&amp;b,d,b,"), sj("名無し,さん"), "a&b"},
      // 81 97 81 4D behind the lead byte of ＝ is no comma mark.
      {sj("＝") + "\x97\x81M,,d,b,", sj("＝") + "\x97\x81M", ""},
  };
  for (const Case& c : cases) {
    auto run = make_text_run(c.m);
    run->sflg.k_be = c.k_be;
    ready_strings(*run);
    std::string buf;
    const Post& post = read_line(*run, buf, c.line);
    EXPECT_EQ(post.name, c.name) << c.line;
    EXPECT_EQ(post.mail, c.mail) << c.line;
  }
}

TEST(ReadPost, LineLimit) {
  struct Case {
    std::string body;
    uint32_t m;
    size_t cut;
    int cut_lines;
  } cases[] = {
      {"a<br>b<br>c", limit(3), 18, 1},  // exactly `limit` lines are cut as well
      {"a<br>b", limit(3), std::string::npos, 0},
      {"a", limit(1), 0, 1},
      {"a<br>b<br>c<br>d", limit(2), 9, 3},
      {"a<br>b<br>c", limit(2) | (1u << 23), 2, 2},  // short form: at the last line feed
      // A body too long for its room is broken, but the cut made before the scan found
      // that out stays.
      {"a <br> " + std::string(150001, 'x'), limit(2), 9, 0},
      {std::string(150000, 'x') + " <br> y", limit(2), 150008, 0},
      {std::string(150001, 'x') + " <br> y", limit(2), std::string::npos, 0},
  };
  for (const Case& c : cases) {
    auto run = make_text_run(c.m);
    ready_strings(*run);
    std::string buf;
    const Post& post = read_line(*run, buf, body_line(c.body));
    EXPECT_EQ(post.cut, c.cut) << c.body.substr(0, 40);
    EXPECT_EQ(post.cut_lines, c.cut_lines) << c.body.substr(0, 40);
  }
}

TEST(ReadPost, BrokenPosts) {
  std::string mega;
  while (mega.size() < 1000000) mega += std::string(96, 'y') + "<br>";
  struct Case {
    std::string line;
    bool broken;
  } cases[] = {
      {"a<>b", true},
      {"a,b,c", true},
      {body_line(std::string(150000, 'x')), false},
      {body_line(std::string(150001, 'x')), true},
      {[] {
         std::string b;
         while (b.size() < 160000) b += "x ";
         return body_line(b);
       }(),
       true},
      {body_line(mega), true},
  };
  for (const Case& c : cases) {
    auto run = make_text_run();
    ready_strings(*run);
    std::string buf;
    const Post& post = read_line(*run, buf, c.line);
    const std::string broken = sj("[ここ壊れてます]");
    EXPECT_EQ(post.body == broken, c.broken) << c.line.size();
    if (c.broken) {
      EXPECT_EQ(post.name, broken);
      EXPECT_EQ(post.date, broken);
      EXPECT_EQ(post.mail, "");
    }
  }
}

TEST(ReadPost, DateField) {
  struct Case {
    std::string date;
    std::string want;
    uint8_t ok;
  } cases[] = {
      {"  2006/01/01(" + sj("日") + ") 12:34:56 ID:abc",
       "2006/01/01(" + sj("日") + ") 12:34:56 ID:abc", 1},
      {sj("あぼーん"), sj("あぼーん"), 0},
      {"<font>2006/01/01 12:34</font>", "2006/01/01 12:34", 1},
  };
  for (const Case& c : cases) {
    auto run = make_text_run();
    ready_strings(*run);
    std::string buf;
    const Post& post = read_line(*run, buf, "n<>m<>" + c.date + "<>b<>");
    EXPECT_EQ(post.date, c.want) << c.date;
    EXPECT_EQ(post.date_ok, c.ok) << c.date;
  }
}

TEST(CleanTitle, Replacements) {
  struct Case {
    std::string title;
    std::string want;
    uint8_t kind = 2;
    uint8_t comma_sub = 0;
    uint32_t m = kDefault;
  } cases[] = {
      {"&quot;a&quot; b", "&quot;a\"b"},
      {"", sj("(無題)")},
      {"a&amp;b&gt;c&lt;d\te\rf&ampg", "a&b>c<d e f&g"},
      {sj("a＠｀b"), "a,b", 1, 0},
      {sj("a＠｀b"), sj("a＠｀b"), 2, 0},
      {sj("a＠｀b"), "a,b", 2, 1},
      {" t", "t", 2, 0, kDefault | (1u << 8)},
      {" t", " t"},
  };
  for (const Case& c : cases) {
    auto run = make_text_run(c.m);
    run->sflg.kind = c.kind;
    run->sflg.comma_sub = c.comma_sub;
    ready_strings(*run);
    std::string title = c.title;
    clean_title(*run, title, kSjis, kSjis, 11, kTitleCut);
    EXPECT_EQ(title, c.want) << c.title;
  }
}

TEST(CleanTitle, ConvertsToTheWantedCode) {
  auto run = make_text_run();
  ready_strings(*run);
  std::string title = sj("題名 &gt; x");
  clean_title(*run, title, kSjis, kUtf8, 11, kTitleCut);
  EXPECT_EQ(title, "題名 > x");
}

// The excerpt of a post with `body` in Shift_JIS; its text between the date and the end.
std::string excerpt_text(std::string_view body) {
  auto run = make_text_run();
  ready_strings(*run);
  run->post.name = "n";
  run->post.date = "D";
  run->post.body.assign(body);
  make_excerpt(*run, 1);
  const std::string head = sj("名前：<font color=green><b>n</b>[] ：D<br>");
  EXPECT_EQ(run->excerpt.compare(0, head.size(), head), 0);
  return run->excerpt.substr(head.size());
}

std::string times(std::string_view s, int n) {
  std::string out;
  for (int i = 0; i < n; ++i) out += s;
  return out;
}

TEST(MakeExcerpt, FoldsLinesByWidth) {
  const std::string kan = sj("漢");  // width 16
  const std::string tsu = sj("っ");  // width 9 in our table
  struct Case {
    std::string body;
    std::string want;
  } cases[] = {
      {times(kan, 50), times(kan, 50)},
      {times(kan, 51), times(kan, 50) + " <br> " + kan},
      {times(tsu, 89), times(tsu, 88) + " <br> " + tsu},
      {times("i", 267), times("i", 266) + " <br> i"},
      // A line end starts a new line; a run of blanks counts once.
      {times(kan, 30) + "\r\n" + times(kan, 50), times(kan, 30) + " <br> " + times(kan, 50)},
      {times(kan, 49) + "     iii" + kan, times(kan, 49) + "     iii <br> " + kan},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(excerpt_text(c.body), c.want + "<br>") << c.body.size();
  }
}

TEST(MakeExcerpt, NameMailAndPlace) {
  auto run = make_text_run();
  ready_strings(*run);
  run->post.name = std::string(70, 'a');
  run->post.mail = "sage";
  run->post.date = "D";
  run->post.body = "b";
  run->excerpt = std::string("first") + '\0';
  run->pos_1 = 6;
  make_excerpt(*run, 0);
  EXPECT_EQ(run->excerpt.substr(0, 6), std::string("first") + '\0');
  EXPECT_EQ(run->excerpt.substr(6), sj("名前：<font color=green><b>") + std::string(64, 'a') +
                                        sj("...</b>[sage] ：D<br>b<br>"));
}

}  // namespace
}  // namespace tz
