#include "cmdline/parser.h"

#include <gtest/gtest.h>

#include <climits>

#include "cmdline_fixture.h"
#include "codes/convert.h"

namespace tz {
namespace {

using testing_cmdline::parse;
using testing_cmdline::Parsed;
using testing_cmdline::TempDir;

// One existing log, so that a parse gets through the path checks.
const std::string& source() {
  static TempDir dir;
  static std::string file = dir.touch("logs/a.dat");
  return file;
}

Parsed parse_with_source(std::vector<std::string> options) {
  options.push_back(source());
  return parse(options);
}

std::string refused(const std::string& arg) {
  return sjis_from_utf8(arg + " は無効なオプションです.\n");
}

TEST(MBlock, DigitsCountFromTheLeftIntoTheFieldsOfTheWord) {
  struct Case {
    const char* text;
    uint32_t m;
    uint32_t m2;
  } cases[] = {
      {"8", 0x0001, 0},           // name word alone: the short form is padded on the right
      {"8000000000", 0x0001, 0},  //
      {"800C", 0x3001, 0},        // the defaults written out
      {"8x", 0x1000, 0},          // a group ends at its first non-hexadecimal character
      {"0", 0, 0},                //
      {"4", 0x0002, 0},           // digit 1 bit 2: date word
      {"08", 0x0020, 0},          // digit 2 bits 1,2 keep their value: 10
      {"04", 0x0010, 0},          // 01
      {"02", 0x0040, 0},          // digit 2 bit 3: size at the end
      {"002", 0x0400, 0},         // digit 3 bit 3: LF
      {"00008", 0x10000, 0},      // digit 5 bit 1
      {"00004", 0x40000, 0},      // digit 5 bits 2,3 keep their value
      {"000001", 1u << 23, 0},    // digit 6 bit 4: short links
      {"00000008", 1u << 24, 0},  // digit 8 bit 1: lowest bit of the line limit
      {"0000008", 1u << 28, 0},   // digit 7 bit 1: highest bit of the line limit
      {"000000008", 0, 1},        // digit 9 bit 1
      {"000000006", 0, 6},        // digit 9 bits 2,3: output code forced to UTF-8
      {"00000000201", 0, 0},      // twelve places: bits 7 to 5 now belong to digit 11
      {"00000000E0", 0, 7},       //
      {"000000000000E0", 0, 0},   // the last group takes four characters at most
  };
  for (const Case& c : cases) {
    auto owner = std::make_unique<tz::Run>();
    tz::Run& run = *owner;
    set_m_block(run, c.text);
    EXPECT_EQ(run.cmdm.m, c.m) << c.text;
    EXPECT_EQ(run.cmdm.m2, c.m2) << c.text;
  }
}

TEST(MBlock, BeMarksOffOnlySetAndBit20Stays) {
  auto owner = std::make_unique<tz::Run>();
  tz::Run& run = *owner;
  run.cmdm.m |= 1u << 20;
  set_m_block(run, "00000800");
  EXPECT_TRUE(run.cmdm.be_off);
  EXPECT_EQ(run.cmdm.m, 1u << 20);
  set_m_block(run, "8");
  EXPECT_TRUE(run.cmdm.be_off);
  EXPECT_EQ(run.cmdm.m, (1u << 20) | 1u);
  EXPECT_EQ(m_line_limit(run.cmdm), 0);
  set_m_block(run, "000000F8");
  EXPECT_EQ(m_line_limit(run.cmdm), 31);
}

TEST(OBlock, DigitsAlignToTheRight) {
  struct Case {
    const char* text;
    uint32_t before;
    uint32_t o;
  } cases[] = {
      {"1E", 0x1E1B00, 0x1E0000},      // flags and priorities cleared
      {"8", 0x1E1B00, 0x080000},       // header of 8 KB
      {"E01B1E", 0x1E1B00, 0x1E1B07},  // digit 1 bits 1-3 into bits 0-2
      {"100000", 0, 0x08},             // digit 1 bit 4
      {"080000", 0, 0x10},             // digit 2 bit 1
      {"020000", 0, 0x80},             // input code EUC-JP: the field keeps its value
      {"030000", 0, 0xC0},             //
      {"040000", 0, 0},                // digit 2 bit 2 is never stored...
      {"000000", 0x20, 0x20},          // ...and bit 5 keeps what it had
      {"1234567", 0, 0x563488},        // six places at most
  };
  for (const Case& c : cases) {
    auto owner = std::make_unique<tz::Run>();
    tz::Run& run = *owner;
    run.cmdm.o = c.before;
    set_o_block(run, c.text);
    EXPECT_EQ(run.cmdm.o, c.o) << c.text;
  }
  auto owner = std::make_unique<tz::Run>();
  tz::Run& run = *owner;
  set_o_block(run, "020000");
  EXPECT_EQ(o_forced_in(run.cmdm), kEuc);
}

TEST(Parser, SortsArgumentsIntoOptionsPathsAndRefusals) {
  struct Case {
    std::vector<std::string> args;
    int result;
    std::string out;
  } cases[] = {
      {{"/h=UTF8", "x.dat"}, 2, refused("/h=UTF8")},  // /h is a page only when alone
      {{"-q5", "x.dat"}, 2, refused("-q5")},
      {{"-abc", "x.dat"}, 2, refused("-abc")},
      {{"/c=1", "x.dat"}, 2, refused("/c=1")},
      {{"/ix", "x.dat"}, 2, refused("/ix")},
      {{"/w", "x.dat"}, 2, refused("/w")},
      {{"-あ"}, 2, refused("-あ")},  // shown in Shift_JIS
      {{"/u=xyz", "x.dat"}, 2, refused("/u=xyz")},
      {{"/o", "x.dat"}, 2, sjis_from_utf8("/o オプションの指定が無効です.\n")},
      {{"/t=", "x.dat"}, 2, sjis_from_utf8("/t: 出力ファイル名の書式指定がありません．\n")},
      {{"/t=\"", "x.dat"}, 2, sjis_from_utf8("/t: 出力ファイル名の書式指定がありません．\n")},
      {{"/u=time", "/u=xyz", "NUL"}, 1, ""},  // an unknown value after a known one passes
      {{"/a=B", "--", "-b.dat"},
       2,
       sjis_from_utf8(os::current_dir() + "/-b.dat:入力ファイルを開けません。\n")},
      {{"/x", "-x", "/js=1", "NUL"}, 1, ""},
      // A lone absolute path that begins with "/h" is a source, not the long page.
      {{"/hx/a.dat"}, 2, sjis_from_utf8("/hx/:ディレクトリが見つかりません。\n")},
      {{"/help"}, 2, sjis_from_utf8("/help:入力ファイルを開けません。\n")},
  };
  for (const Case& c : cases) {
    Parsed p = parse(c.args);
    EXPECT_EQ(p.result, c.result) << c.args[0];
    EXPECT_EQ(p.out, c.out) << c.args[0];
  }
}

TEST(Parser, PathsThatLookLikeNoOptionArePositional) {
  TempDir dir;
  std::string file = dir.touch("abc/x.dat");
  std::string out = dir.mkdir("out");
  struct Case {
    std::vector<std::string> args;
    std::string src;
    std::string dst;
  } cases[] = {
      {{file, out}, file, out + "/"},
      {{"/st", file}, file, ""},
      {{"--", file, out, "ignored"}, file, out + "/"},
  };
  for (const Case& c : cases) {
    Parsed p = parse(c.args);
    EXPECT_LE(p.result, 1) << p.out;
    EXPECT_EQ(p.run->paths.src_path, c.src);
    if (!c.dst.empty()) {
      EXPECT_EQ(p.run->paths.dst_path, c.dst);
    }
  }
}

TEST(Parser, IndexOptionValues) {
  struct Case {
    std::vector<std::string> args;
    char sort;
    char order;
    const char* digits;  // i_num .. i_simple
    const char* fn;
    const char* tr;
    const char* tl;
    bool img;
  } cases[] = {
      {{"/i"}, 'L', 'd', "110000001010", "", "", "", false},
      {{"/i=Ld110000001010"}, 'L', 'd', "110000001010", "", "", "", false},
      {{"/i=00"}, 'l', 'd', "000000001010", "", "", "", false},
      {{"/i=Ld12"}, 'L', 'd', "110000001210", "", "", "", false},
      {{"/i=x03"}, 'x', 'd', "010000001310", "", "", "", false},
      {{"/I=RU"}, 'r', 'u', "110000001010", "", "", "", false},
      {{"/i=Ld0000000003"}, 'L', 'd', "000000000310", "", "", "", false},
      {{"/i="}, 0, 0, "110000001010", "", "", "", false},
      {{"/i:"}, 0, 0, "110000001010", "", "", "", true},
      {{"/i=nd:fn=hoge.htm"}, 'n', 'd', "110000001010", "hoge.htm", "", "", false},
      {{"/i=:tr=/u/tree:tl=/u/list"}, 'l', 'd', "110000001010", "", "/u/tree", "/u/list", false},
      {{"/i=:tr=e:/tree"}, 'l', 'd', "110000001010", "", "e:/tree", "", false},
      {{"/i::idx.html"}, 'l', 'd', "110000001010", "idx.html", "", "", true},
      // A later /i finds the item chosen and steps over the first two places.
      {{"/i", "/i=00"}, 'L', 'd', "110000001010", "", "", "", false},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    args.push_back("NUL");
    Parsed p = parse(args);
    const Cmdm& m = p.run->cmdm;
    SCOPED_TRACE(c.args.back());
    EXPECT_EQ(p.result, 1);
    EXPECT_EQ(m.i_sort, c.sort);
    EXPECT_EQ(m.i_order, c.order);
    const uint8_t got[12] = {m.i_num,  m.i_rescnt, m.i_others, m.i_first, m.i_perout, m.i_one,
                             m.i_html, m.i_tmp,    m.i_tpl,    m.i_code,  m.i_date,   m.i_simple};
    std::string digits;
    for (uint8_t d : got) digits += static_cast<char>('0' + d);
    // A NUL source turns index.tmp on when neither source of index information is.
    std::string want = c.digits;
    if (want[6] == '0') want[7] = '1';
    EXPECT_EQ(digits, want);
    EXPECT_EQ(m.i_fn, c.fn);
    EXPECT_EQ(m.i_tr, c.tr);
    EXPECT_EQ(m.i_tl, c.tl);
    EXPECT_EQ(m.i_img, c.img);
  }
}

TEST(Parser, DateFilterPatterns) {
  struct Case {
    std::vector<std::string> args;
    char kind;
    const char* from;
    const char* to;
    int range;
  } cases[] = {
      {{"/ts=h235930-000030"}, 'f', "********235930", "********000030", 1},
      {{"/ts=M01D01,c"}, 'c', "****0101******", "****0101******", 0},
      {{"/ts=M0101,c"}, 'c', "****0101******", "****0101******", 0},
      {{"/ts=2006-M01"}, 0, nullptr, nullptr, 1},  // refused, silently
      {{"/ts=-Y2001,l"}, 'l', "**************", "2001**********", 3},
      {{"/ts=h1730-,m"}, 'm', "********1730**", "**************", 2},
      {{"/ts=20060101-20070731,f"}, 'f', "20060101******", "20070731******", 1},
      {{"/ts=2006,lmc"}, 'c', "2006**********", "2006**********", 0},
      {{"/ts=200601011200001l"}, 'l', "20060101120000", "20060101120000", 0},
      {{"/ts=2006-2007-2008"}, 'f', "2006**********", "2007**********", 1},
      {{"/ts=,c"}, 0, "**************", "**************", 0},
      {{"/ts"}, 0, "", "", 0},
      {{"/TS=2006"}, 'f', "2006**********", "2006**********", 0},
      {{"/ts=2006", "/ts=2006-M01"}, 0, nullptr, nullptr, 1},
      // The range of an earlier /ts stays: an upper end alone needs no copy.
      {{"/ts=-Y2001", "/ts=2006"}, 'f', "2006**********", "**************", 3},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    args.push_back("NUL");
    Parsed p = parse(args);
    const Cmdm& m = p.run->cmdm;
    SCOPED_TRACE(c.args.back());
    EXPECT_EQ(p.result, 1);
    EXPECT_EQ(p.out, "");
    EXPECT_EQ(m.ts_kind, c.kind);
    if (c.from) {
      EXPECT_EQ(m.ts_from, c.from);
      EXPECT_EQ(m.ts_to, c.to);
    }
    EXPECT_EQ(m.ts_range, c.range);
  }
}

TEST(Parser, PostCountRange) {
  struct Case {
    std::vector<std::string> args;
    int min;
    int max;
  } cases[] = {
      {{"/r=100"}, 100, 100},
      {{"/r=10-20"}, 10, 20},
      {{"/r=10-"}, 10, kOpenEnd},
      {{"/r=-20"}, 1, 20},
      {{"/r="}, 0, 0},
      {{"/r=1234567"}, 123456, 123456},
      {{"/r=a5b-c7"}, 5, 7},
      {{"/r=1-2", "/r=5-10-20"}, 10, 2},  // a second '-' ends the value
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    args.push_back("NUL");
    Parsed p = parse(args);
    EXPECT_EQ(p.run->cmdm.r_min, c.min) << c.args.back();
    EXPECT_EQ(p.run->cmdm.r_max, c.max) << c.args.back();
  }
}

TEST(Parser, FolderLevelsOfA) {
  struct Case {
    std::vector<std::string> args;
    bool a;
    const char* a_str;
    bool a_r;
    bool a_c;
    bool warned;
  } cases[] = {
      {{"/a=Bsbf"}, true, "Bsbf", false, false, false},
      {{"-a=B"}, true, "B", false, false, false},
      {{"/A=B"}, true, "B", false, false, false},
      {{"/ax=B"}, true, "B", false, false, false},
      {{"/a=bnfFd"}, true, "bfd", false, false, false},
      {{"/a=BBBBBBBBBBBB"}, true, "BBBBBBBBBB", false, false, false},
      {{"/a=B", "/a=s"}, true, "Bs", false, false, false},
      {{"/a=xyz"}, false, "", false, false, true},
      {{"/a=c"}, false, "", false, true, false},
      {{"/a=r"}, true, "", false, false, false},  // no walk: the mirror falls away
      {{"/s", "/a=r"}, true, "", true, false, false},
      {{"/s"}, true, "", true, false, false},  // a walk mirrors the source tree
      {{"/s=c"}, false, "", false, true, false},
      {{"/st", "/s"}, false, "", false, true, false},
  };
  for (const Case& c : cases) {
    Parsed p = parse_with_source(c.args);
    const Cmdm& m = p.run->cmdm;
    SCOPED_TRACE(c.args.back());
    EXPECT_LE(p.result, 1);
    EXPECT_EQ(m.a, c.a);
    EXPECT_EQ(m.a_str, c.a_str);
    EXPECT_EQ(m.a_r, c.a_r);
    EXPECT_EQ(m.a_c, c.a_c);
    EXPECT_EQ(p.out, c.warned ? sjis_from_utf8("注意:/a オプションの指定が無効です。\n") : "");
  }
}

TEST(Parser, SimpleValues) {
  Parsed p =
      parse_with_source({"/u=FSIZE", "/v=Fb", "/f=2", "/d=50", "/q=フリー", "/n=集", "/l=utf-8",
                         "/ck=EUC", "/mv=/dst::r", "/s=11c:sel.txt", "/z", "/ct", "/sp"});
  const Cmdm& m = p.run->cmdm;
  EXPECT_EQ(p.result, 0);  // a walk
  EXPECT_EQ(m.u, 2);
  EXPECT_TRUE(m.v);
  EXPECT_EQ(m.v_mode, 1);  // f is looked at after o and b
  EXPECT_EQ(m.f, '2');
  EXPECT_EQ(m.d, 50);
  EXPECT_TRUE(m.q);
  EXPECT_EQ(m.q_str, sjis_from_utf8("フリー"));
  EXPECT_EQ(m.n, sjis_from_utf8("集"));
  EXPECT_EQ(m.l_code, kUtf8);
  EXPECT_EQ(m.ck, kEuc);
  EXPECT_EQ(p.run->con_code, kEuc);
  EXPECT_TRUE(m.mv && m.mv_r);
  EXPECT_EQ(m.mv_path, "/dst");
  EXPECT_EQ(m.mv_dst, "/dst");
  EXPECT_TRUE(m.s && m.a_c);
  EXPECT_EQ(m.s_file, "");  // the walk of four places ends before the ':'
  EXPECT_TRUE(m.z && m.ct && !m.sp);

  struct Case {
    std::vector<std::string> args;
    uint8_t ck;
    uint8_t u;
    char f;
    const char* t_fmt;
    const char* s_file;
  } cases[] = {
      {{"/ck"}, kSjis, 0, 0, "", ""},
      {{"/ck=SHIFT_JIS"}, kSjis, 0, 0, "", ""},
      {{"/ck=utf8"}, kUtf8, 0, 0, "", ""},
      {{"/u"}, 0, 1, 0, "", ""},
      {{"/u=none"}, 0, 3, 0, "", ""},
      {{"/f"}, 0, 0, 0, "", ""},
      {{"/f=~"}, 0, 0, 0, "", ""},
      {{"/t"}, 0, 0, 0, "%threadtitle%", ""},
      {{"/t=\"%num%\""}, 0, 0, 0, "%num%", ""},
      {{"/s:sel.txt"}, 0, 0, 0, "", "sel.txt"},
      {{"/s=1c:/x/sel.txt"}, 0, 0, 0, "", "/x/sel.txt"},
  };
  for (const Case& c : cases) {
    Parsed q = parse_with_source(c.args);
    SCOPED_TRACE(c.args[0]);
    EXPECT_EQ(q.run->cmdm.ck, c.ck);
    EXPECT_EQ(q.run->cmdm.u, c.u);
    EXPECT_EQ(q.run->cmdm.f, c.f);
    EXPECT_EQ(q.run->cmdm.t_fmt, c.t_fmt);
    EXPECT_EQ(q.run->cmdm.s_file, c.s_file);
  }
}

TEST(Parser, ValuesAreCutAtTheirLimits) {
  std::string x300(300, 'x');
  Parsed p = parse_with_source({"/t=" + x300, "/q=" + x300, "/n=" + std::string(600, 'n'),
                                "/d=99999999999", "/mv=" + x300, "/s=:" + x300});
  const Cmdm& m = p.run->cmdm;
  EXPECT_EQ(m.t_fmt.size(), 254u);
  EXPECT_EQ(m.q_str.size(), 255u);
  EXPECT_EQ(m.n.size(), 500u);
  EXPECT_EQ(m.mv_path.size(), 255u);
  EXPECT_EQ(m.s_file.size(), 255u);
  EXPECT_EQ(m.d, INT_MAX);
}

TEST(Parser, SettingsThatFollowFromOthers) {
  Parsed null_src = parse({"/i", "/d=5", "/mv", "NUL"});
  EXPECT_TRUE(null_src.run->cmdm.src_null && null_src.run->cmdm.src_wild);
  EXPECT_EQ(null_src.run->cmdm.i_tmp, 1);
  EXPECT_EQ(null_src.run->cmdm.d, 0);
  EXPECT_FALSE(null_src.run->cmdm.mv);

  Parsed html = parse({"/i=Ld0000001", "NULL"});
  EXPECT_EQ(html.run->cmdm.i_html, 1);
  EXPECT_EQ(html.run->cmdm.i_tmp, 0);

  Parsed null_dst = parse({"/i", "/s=1", "/d=5", source(), "NUL"});
  EXPECT_TRUE(null_dst.run->cmdm.dst_null);
  EXPECT_FALSE(null_dst.run->cmdm.i);
  EXPECT_EQ(null_dst.run->cmdm.i_one, 0);
  EXPECT_EQ(null_dst.run->cmdm.d, 0);

  Parsed no_index = parse_with_source({"/s=1"});
  EXPECT_EQ(no_index.run->cmdm.i_one, 0);

  // An index per created folder needs folders: a walk without /a gets the mirror.
  std::string dir = source().substr(0, source().rfind('/') + 1);
  Parsed perout = parse({"/i=Ld00001", dir + "*.dat"});
  EXPECT_EQ(perout.result, 0);
  EXPECT_TRUE(perout.run->cmdm.a);
  EXPECT_EQ(perout.run->cmdm.i_perout, 1);
  Parsed one = parse({"/i=Ld000011", dir + "*.dat"});
  EXPECT_EQ(one.run->cmdm.i_perout, 0);

  Parsed st = parse_with_source({"/i", "/st"});
  EXPECT_TRUE(st.run->cmdm.c);
  EXPECT_FALSE(st.run->cmdm.i);
  EXPECT_FALSE(st.run->cmdm.exe_dir.empty());
  EXPECT_EQ(st.run->cmdm.exe_dir.back(), '/');
}

TEST(Parser, LogFilesAreRefused) {
  TempDir dir;
  std::string file = dir.touch("x.log.dat");
  Parsed p = parse({file});
  EXPECT_EQ(p.result, 2);
  EXPECT_EQ(p.out, sjis_from_utf8("logファイルには対応しておりません。すみません。\n"));
  TempDir upper;
  std::string other = upper.touch("x.LOG.dat");  // the test minds the case
  EXPECT_EQ(parse({other}).result, 1);
  // A pattern that finds the folder's own entry first has no name to refuse.
  EXPECT_EQ(parse({dir.path() + "/*"}).result, 0);
  EXPECT_EQ(parse({dir.path() + "/*.dat"}).result, 2);
}

TEST(Parser, LongPageCodeComesFromTheSingleArgument) {
  struct Case {
    const char* arg;
    uint8_t ck;
    int con_code;
  } cases[] = {
      {"/h", 0, 1},        {"-H", 0, 1},       {"/h=shift_jis", 1, 1},
      {"/H=euc-jp", 2, 2}, {"/h=UTF-8", 3, 3}, {"/h=latin", 0, 1},
  };
  for (const Case& c : cases) {
    Parsed p = parse({c.arg});
    EXPECT_EQ(p.result, 2) << c.arg;
    EXPECT_EQ(p.run->cmdm.ck, c.ck) << c.arg;
    EXPECT_EQ(p.run->con_code, c.con_code) << c.arg;
    if (c.con_code == kSjis)
      EXPECT_NE(p.out.find(sjis_from_utf8("オプション:\n")), std::string::npos) << c.arg;
    else
      EXPECT_NE(p.out.find("tanzaku Ver. "), std::string::npos) << c.arg;
  }
}

}  // namespace
}  // namespace tz
