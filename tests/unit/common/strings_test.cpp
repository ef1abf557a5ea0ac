#include "common/strings.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "../test_run.h"
#include "codes/convert.h"
#include "run/run.h"
#include "run/stores.h"

namespace tz {
namespace {

std::string sj(const char* utf8) {
  return sjis_from_utf8(utf8);
}

TEST(ByteKind, TellsBytesOfShiftJisText) {
  auto run = make_test_run();
  struct Case {
    std::string text;
    size_t at;
    int code;
    int want;
  } cases[] = {
      {sj("表"), 1, 1, 2},               // 0x5C behind a first byte is no backslash
      {sj("表"), 0, 1, 1},               // a first byte at the head
      {"a\\", 1, 1, 0},                  // a real backslash
      {sj("a表"), 2, 1, 2},              // certain from the ASCII letter before it
      {sj("表表"), 2, 1, 1},             // 0x95 behind a second byte 0x5C leads again
      {sj("日日"), 3, 1, 2},             // 0x93 0xFA: second bytes that could lead
      {sj("ｱ\\"), 1, 1, 0},              // behind a half-width kana
      {sj("日日日日日日表"), 13, 1, 2},  // no certain place at all: walked from the head
      {sj("表"), 1, 2, 0},               // no double bytes in EUC-JP
  };
  for (const Case& c : cases) {
    EXPECT_EQ(byte_kind(*run, c.text.data() + c.at, c.text.data(), c.code, 50), c.want)
        << c.text << " at " << c.at;
  }
  run->sflg.k_abroad = 2;
  std::string text = sj("表");
  EXPECT_EQ(byte_kind(*run, text.data() + 1, text.data(), 1, 50), 0);
}

TEST(ByteKind, NeverSecondHoldsBehindAnyBytes) {
  auto run = make_test_run();
  const std::string heads[] = {"", "a", "\x82", "\x82\x82", sj("表"), "\x95\x5C\x95"};
  int checked = 0;
  for (int c = 0; c < 256; ++c) {
    if (!never_second(static_cast<uint8_t>(c))) continue;
    for (const std::string& head : heads) {
      for (int b = 0; b < 256; ++b) {
        std::string text = head + static_cast<char>(b) + static_cast<char>(c);
        const char* at = text.data() + text.size() - 1;
        ASSERT_NE(byte_kind(*run, at, text.data(), kSjis, 100), 2) << c << " behind " << b;
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 64 * 256);
  EXPECT_TRUE(never_second('<') && never_second('&') && never_second(' '));
  EXPECT_FALSE(never_second(0x81) || never_second('h') || never_second('\\'));
}

TEST(ReplaceText, ReplacesWithinTheRoom) {
  auto run = make_test_run();
  struct Case {
    std::string text, search, repl;
    size_t size;
    int code, once;
    std::string want;
    int count;
  } cases[] = {
      {"aaa", "a", "aa", 100, 0, 0, "aaaaaa", 3},  // what was put in is not searched again
      {"a-b-c", "-", "", 100, 0, 0, "abc", 2},
      {"a-b-c", "-", "+", 100, 0, 1, "a+b-c", 1},
      {"ab", "abc", "x", 100, 0, 0, "ab", 0},
      {"ab", "", "x", 100, 0, 0, "ab", 0},
      {sj("表\\表"), "\\", "/", 100, 1, 0, sj("表/表"), 1},
      {sj("表\\表"), "\\", "/", 100, 0, 0,
       "\x95/"
       "/"
       "\x95/",
       3},
      // Growing replacements stop at the room of the text (size 5 holds 4 bytes).
      {"abc", "b", "XYZ", 5, 0, 0, "aXYZ", 1},
      {"abc", "b", "XYZ", 6, 0, 0, "aXYZc", 1},
      {"abcb", "b", "XYZ", 7, 0, 0, "aXYZcX", 2},
  };
  for (const Case& c : cases) {
    std::string text = c.text;
    EXPECT_EQ(replace_text(*run, text, c.search, c.repl, c.size, c.code, c.once), c.count)
        << c.text;
    EXPECT_EQ(text, c.want) << c.text;
  }
}

TEST(ReplaceText, LosesATailTooLongToSetAside) {
  auto run = make_test_run();
  std::string kept = "x" + std::string(149998, 'y');
  EXPECT_EQ(replace_text(*run, kept, "x", "z", kFieldRoom, 0, 1), 1);
  EXPECT_EQ(kept, "z" + std::string(149998, 'y'));
  std::string lost = "x" + std::string(149999, 'y');
  EXPECT_EQ(replace_text(*run, lost, "x", "z", kFieldRoom, 0, 1), 1);
  EXPECT_EQ(lost, "z");
}

TEST(LowerCase, LeavesSecondBytesAlone) {
  struct Case {
    std::string text;
    int code;
    std::string want;
  } cases[] = {
      {sj("ABC表DEF"), 1, sj("abc表def")},
      {sj("アB"), 1, sj("アb")},  // ア is 0x83 0x41: its 0x41 stays
      {sj("アB"), 3,
       "\x83"
       "ab"},
      {"AB\tCD", 1, "ab\tCD"},  // stops at the first control byte
  };
  for (const Case& c : cases) {
    std::string text = c.text;
    lower_case(text, c.code);
    EXPECT_EQ(text, c.want) << c.text;
  }
}

TEST(SepPos, CountsAndFindsSeparators) {
  struct Case {
    std::string path;
    int n;
    int want;
  } cases[] = {
      {"home/a/b/", 1, 8},
      {"home/a/b/", 3, 4},
      {"home/a/b/", 4, 0},
      {"home/a/b/", -1, 3},
      {"home/a/b/", 0, 0},
      {"home/a/b/", -2, 0},
      {"//srv/share", -1, 3},  // no network shares here: a plain count
      {std::string(250, 'a') + "/b/", 1, 252},
      {std::string(252, 'a') + "/b/", 1, 0},  // 255 bytes is too long
  };
  for (const Case& c : cases) EXPECT_EQ(sep_pos(c.path, c.n), c.want) << c.path << " " << c.n;
}

TEST(PathPiece, TakesFoldersFromTheEnd) {
  struct Case {
    std::string path;
    int level, what;
    int result;
    std::string want;
  } cases[] = {
      {"/x/a/b/", 1, 1, 0, "b"},
      {"/x/a/b/", 2, 1, 0, "a"},
      {"/x/a/b/", 3, 1, 0, "x"},
      {"/x/a/b/", 4, 1, 1, ""},  // too few separators
      {"/x/a/b/", 0, 2, 0, "/x/a/b/"},
      {"/x/a/b", 0, 2, 0, "/x/a/"},
      {"/x/a/b/", 1, 2, 0, "/x/a/"},
      {"/x/a/b/", 2, 2, 0, "/x/"},
      {"name", 0, 2, 1, ""},
      {"/x//", 1, 1, 1, ""},  // a folder name of length 0
      {"/" + std::string(253, 'n') + "/", 1, 1, 0, std::string(253, 'n')},
      {"/" + std::string(254, 'n') + "/", 1, 1, 1, ""},
      {"/x/a/b/", 0, 1, 1, ""},
  };
  for (const Case& c : cases) {
    std::string out = "junk";
    EXPECT_EQ(path_piece(c.path, &out, c.level, c.what), c.result) << c.path << " " << c.level;
    EXPECT_EQ(out, c.want) << c.path << " " << c.level;
  }
}

TEST(EncodeBlanks, EncodesWithinTheLimits) {
  auto run = make_test_run();
  struct Case {
    std::string text;
    size_t size;
    std::string want;
  } cases[] = {
      {"a b c", 256, "a%20b%20c"},
      {"a b c", 6, "a%20b"},
      {sj("表 紙"), 256, sj("表%20紙")},
      {std::string(1100, 'q'), 4096, std::string(1023, 'q')},
  };
  for (const Case& c : cases) {
    std::string text = c.text;
    encode_blanks(*run, text, c.size);
    EXPECT_EQ(text, c.want) << c.text.substr(0, 20);
  }
}

TEST(RelativePath, TakesWhatFollowsTheCommonPart) {
  struct Case {
    std::string root, path;
    int result;
    std::string want;
  } cases[] = {
      {"/out/", "/out/sub", 0, "sub/"},
      {"/out/abc", "/out/axe", 0, "xe/"},  // the common part needn't be the whole root
      {"/out/", "/out/", 1, ""},
      {"/out/", "out", 1, ""},
      {"", "/out", 1, ""},
      {"/out/", "", 1, ""},
  };
  for (const Case& c : cases) {
    std::string out = "junk";
    EXPECT_EQ(relative_path(c.root, c.path, &out), c.result) << c.root << " " << c.path;
    EXPECT_EQ(out, c.want) << c.root << " " << c.path;
  }
}

}  // namespace
}  // namespace tz
